#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

#include "commands/command.h"
#include "commands/commands.h"
#include "event_manager.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using std::chrono::steady_clock;
using TEKLO::EventFwk::CommonEventData;
using TEKLO::EventFwk::CommonEventManager;
using TEKLO::QuickFixEngine::CommonEventId;
using TEKLO::QuickFixEngine::EventManager;
using TEKLO::QuickFixEngine::g_eventIdToActionMap;
using TEKLO::QuickFixEngine::ListenerRes;

constexpr double MAX_TIMEOUT_S = 1e9;
constexpr long POLL_INTERVAL_MS = 100;

struct NamedEvent {
    const char* name;
    CommonEventId id;
};

constexpr std::array<NamedEvent, 2> EVENTS = {{
    {"bundle-scan-finished", CommonEventId::BUNDLE_SCAN_FINISHED},
    {"user-added", CommonEventId::USER_ADDED},
}};

struct EventOptions {
    std::string name;
    double timeout = MAX_TIMEOUT_S;
    bool json = false;
};

CommonEventId IdOf(const std::string& name) {
    const auto isNamed = [&name](const NamedEvent& event) { return event.name == name; };
    const auto* const event = std::find_if(EVENTS.begin(), EVENTS.end(), isNamed);
    return event == EVENTS.end() ? CommonEventId::UNKNOWN : event->id;
}

std::string CheckName(const std::string& name) {
    const bool isKnown = IdOf(name) != CommonEventId::UNKNOWN;
    return isKnown ? "" : "there is no event " + Quote(name) + "; qfctl events lists them";
}

std::string CheckSeconds(const std::string& text) {
    char* end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    const bool isNumber = !text.empty() && *end == '\0';
    return isNumber && seconds >= 0 && seconds <= MAX_TIMEOUT_S ? "" : "not a number of seconds: " + Quote(text);
}

/// Blocks SIGINT, SIGTERM and SIGHUP and waits for them. Ignored signals stay ignored, for example under nohup.
class TerminationSignals {
public:
    TerminationSignals() {
        sigemptyset(&signals_);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action = {};
            sigaction(signal, nullptr, &action);
            if (action.sa_handler != SIG_IGN) {
                sigaddset(&signals_, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }

    /// Waits up to POLL_INTERVAL_MS. Returns true if a signal arrived.
    bool WaitForSignal() const {
        const timespec interval = {0, POLL_INTERVAL_MS * 1000 * 1000};
        return sigtimedwait(&signals_, nullptr, &interval) >= 0;
    }

private:
    sigset_t signals_ = {};
};

ExitCode Wait(const EventOptions& options) {
    const CommonEventId id = IdOf(options.name);
    const std::string& action = g_eventIdToActionMap.at(id);
    EventManager manager;
    manager.SubscribeEvent(id);
    if (!manager.CheckEventListenRes(id, 0)) {
        throw Failure(ExitCode::NOT_CHECKED,
                      "can't subscribe to " + action + ": no bus can be reached; qfctl doctor checks the bus");
    }
    const TerminationSignals signals;
    std::cout << "waiting for " << action << std::endl;
    const auto deadline = steady_clock::now() + std::chrono::duration<double>(options.timeout);
    bool isTerminated = false;
    while (manager.GetEventListenerRes(id) != ListenerRes::SUCCESS) {
        if (isTerminated || steady_clock::now() >= deadline) {
            throw Failure(ExitCode::NOT_ARRIVED,
                          action + (isTerminated ? " has not arrived" : " did not arrive in time"));
        }
        isTerminated = signals.WaitForSignal();
    }
    std::cout << action << " arrived\n";
    return ExitCode::DONE;
}

ExitCode Publish(const EventOptions& options) {
    const std::string& action = g_eventIdToActionMap.at(IdOf(options.name));
    TEKLO::AAFwk::Want want;
    if (!CommonEventManager::PublishCommonEvent(CommonEventData(want.SetAction(action)))) {
        throw Failure(ExitCode::NOT_CHECKED, action + " can't be published; qfctl doctor checks the bus");
    }
    return ExitCode::DONE;
}

ExitCode List(const EventOptions& options) {
    const Json object(cJSON_CreateObject());
    for (const NamedEvent& event : EVENTS) {
        const std::string& action = g_eventIdToActionMap.at(event.id);
        AddText(object, event.name, action);
        if (!options.json) {
            std::cout << std::left << std::setw(20) << event.name << "  " << action << "\n";
        }
    }
    if (options.json) {
        std::cout << ToText(object);
    }
    return ExitCode::DONE;
}

void AddEventOperand(CLI::App* command, const std::shared_ptr<EventOptions>& options) {
    command->add_option("EVENT", options->name, "bundle-scan-finished or user-added")->required()->check(CheckName);
}

}  // namespace

void AddEventCommands(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<EventOptions>();
    CLI::App* wait = AddCommand(app, result, options, "wait", "Wait until the system broadcasts EVENT", Wait);
    AddEventOperand(wait, options);
    wait->add_option("--timeout", options->timeout, "Give up SECONDS after subscribing (default: never)")
        ->type_name("SECONDS")
        ->check(CheckSeconds);
    AddEventOperand(AddCommand(app, result, options, "publish", "Broadcast EVENT, for tests", Publish), options);
    AddCommand(app, result, options, "events", "List the events with their actions", List)
        ->add_flag("--json", options->json, "Print a JSON object");
}

}  // namespace qfctl
