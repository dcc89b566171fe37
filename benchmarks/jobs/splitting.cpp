#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "jobs/jobs.h"
#include "string_utils.h"

namespace bench {
namespace {

using TEKLO::QuickFixEngine::StringUtils;
using Pieces = std::vector<std::string>;

constexpr size_t TOKENS = 40;

/// As a device's boot loader would pass it to the kernel: 40 tokens, two blanks here and there, a line feed.
std::string CommandLine() {
    return "console=ttyAMA0,115200n8 earlycon=pl011,0xfff32000 root=/dev/mmcblk0p12 rootfstype=ext4 rootwait ro "
           "init=/sbin/init loglevel=4  printk.devkmsg=on no_console_suspend panic=5 oops=panic crashkernel=256M "
           "cma=128M@0x20000000-0x40000000 mem=4096M hugepagesz=2M hugepages=16 transparent_hugepage=madvise "
           "swiotlb=2048 coherent_pool=2M  isolcpus=6,7 nohz_full=6,7 rcu_nocbs=6,7 irqaffinity=0-5 "
           "cpuidle.governor=teo clk_ignore_unused pcie_aspm=off usbcore.autosuspend=-1 "
           "blkdevparts=mmcblk0:1M(boot),64M(kernel),2G(system),512M(vendor),-(data) "
           "dm-mod.create=\"system,,0,ro,0,4194304,linear,/dev/mmcblk0p12,0\" selinux=1 enforcing=1 "
           "lsm=landlock,yama,selinux hw.board=evb-rev3 hw.serial=8c6f5d2a41b7e093  boot.slot=a boot.reason=reboot "
           "boot.verified=orange quickfix=1 "
           "system.fingerprint=sha256:9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08\n";
}

Pieces SplitWithLibrary(std::string& text) {
    return StringUtils::Split(text, ' ');
}

Pieces SplitWithGetline(std::string& text) {
    Pieces pieces;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, ' ');) {
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

Pieces SplitWithStrtok(std::string& text) {
    Pieces pieces;
    std::string copy = text;
    char* rest = nullptr;
    for (char* piece = strtok_r(copy.data(), " ", &rest); piece != nullptr; piece = strtok_r(nullptr, " ", &rest)) {
        pieces.emplace_back(piece);
    }
    return pieces;
}

Job Split(Pieces (*split)(std::string&)) {
    return [split](benchmark::State& state) {
        std::string text = CommandLine();
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(split(text));
        }
        Require(split(text).size() == TOKENS && split(text) == SplitWithLibrary(text), "the same pieces of a text");
    };
}

}  // namespace

Comparison CompareSplitting() {
    return {
        "splitting",
        "Command line of 40 tokens split",
        MICROSECONDS,
        ROUNDS,
        {Ours("library", "SplitLibrary", Split(SplitWithLibrary)),
         Other("getline over an istringstream", "SplitGetline", Split(SplitWithGetline)),
         Other("strtok_r over a copy", "SplitStrtok", Split(SplitWithStrtok))},
        {{0, 1, Relation::SPEED}, {0, 2, Relation::SPEED}},
    };
}

}  // namespace bench
