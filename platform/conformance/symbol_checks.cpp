#include <dlfcn.h>

#include <filesystem>
#include <future>
#include <string>

#include "peer.h"
#include "platform/singleton.h"
#include "report.h"

namespace Conformance {

namespace {

constexpr char INTERPOSER[] = "libplatform_conformance_interposer.so";

struct LibraryCloser {
    void operator()(void* library) const { dlclose(library); }
};

/// Reports each function that has two addresses.
void ExpectSame(Report& report, const Services& here, const Services& there, const std::string& rule) {
    report.Expect(here.plumePrint == there.plumePrint, "PlumePrint: " + rule);
    report.Expect(here.getParameter == there.getParameter, "GetParameter: " + rule);
    report.Expect(here.sprintf == there.sprintf, "sprintf_s: " + rule);
    report.Expect(here.strcpy == there.strcpy, "strcpy_s: " + rule);
    report.Expect(here.strcat == there.strcat, "strcat_s: " + rule);
    report.Expect(here.memset == there.memset, "memset_s: " + rule);
    report.Expect(here.subscribe == there.subscribe, "SubscribeCommonEvent: " + rule);
    report.Expect(here.unsubscribe == there.unsubscribe, "UnSubscribeCommonEvent: " + rule);
    report.Expect(here.publish == there.publish, "PublishCommonEvent: " + rule);
}

void CheckInterposition(Report& report) {
    ExpectSame(report, GetServices(), GetServicesOfPeer(), "the program and its library call different functions");
    // By path: under the sanitizers of g++ 12, dlopen ignores the program's run path.
    const auto path = std::filesystem::read_symlink("/proc/self/exe").replace_filename(INTERPOSER);
    const std::unique_ptr<void, LibraryCloser> library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (library == nullptr) {
        return report.SetNotChecked(std::string("can't load ") + INTERPOSER + ": " + dlerror());
    }
    const auto getServicesOfInterposer =
        reinterpret_cast<void (*)(Services&)>(dlsym(library.get(), "GetServicesOfInterposer"));
    Services there = {};
    getServicesOfInterposer(there);
    ExpectSame(report, GetServices(), there,
               "declared without default visibility: a program's own definition would not take its place");
}

void CheckCLinkage(Report& report) {
    for (const char* name : {"PlumePrint", "GetParameter", "sprintf_s", "strcpy_s", "strcat_s", "memset_s"}) {
        report.Expect(dlsym(RTLD_DEFAULT, name) != nullptr, std::string(name) + ": no such dynamic symbol");
    }
}

void CheckOneObject(Report& report) {
    std::vector<std::future<std::shared_ptr<Shared>>> calls;
    for (int i = 0; i < 4; ++i) {
        calls.push_back(std::async(std::launch::async, TEKLO::DelayedSingleton<Shared>::GetInstance));
        calls.push_back(std::async(std::launch::async, GetSharedOfPeer));
    }
    const std::shared_ptr<Shared> shared = calls.front().get();
    calls.erase(calls.begin());
    report.Expect(shared != nullptr, "GetInstance returned null");
    bool isSame = true;
    for (auto& call : calls) {
        isSame = call.get() == shared && isSame;
    }
    report.Expect(isSame, "two callers of GetInstance got different objects");
    report.Expect(Shared::created == 1, "the object was created " + std::to_string(Shared::created) + " times");
    report.Expect(TEKLO::DelayedSingleton<Shared>::GetInstance() == shared, "a later call got another object");
}

}  // namespace

std::vector<Check> SymbolChecks() {
    return {{"symbols.interposition", CheckInterposition},
            {"symbols.c_linkage", CheckCLinkage},
            {"singleton.one_object", CheckOneObject}};
}

}  // namespace Conformance
