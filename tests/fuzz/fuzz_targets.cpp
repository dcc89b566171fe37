#include "fuzz_targets.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "error_code_wrapper.h"
#include "failure.h"
#include "input/app_list.h"
#include "json_tool.h"
#include "platform/common_event.h"
#include "platform/parameter.h"
#include "plume_format.h"
#include "quick_fix_log.h"
#include "quick_fix_status_record.h"
#include "report/page.h"
#include "report/report_object.h"
#include "string_utils.h"
#include "support/bus_daemon.h"
#include "support/event_listener.h"
#include "support/files.h"
#include "test_manager.h"
#include "text/escape.h"
#include "text/json_text.h"
#include "text/utf8.h"
#include "verification/overlay_scan.h"

using namespace TEKLO::QuickFixEngine;
using namespace TEKLO::EventFwk;
using namespace qfctl;

namespace {

constexpr char INPUT_FILE[] = "/tmp/input";

void Require(bool holds) {
    if (!holds) {
        abort();
    }
}

void ReadStatus(const std::string& input) {
    Write(INPUT_FILE, input);
    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.InitStatusRecord(INPUT_FILE, "K");
    const QuickFixStatus read = record.GetStatus();
    for (const std::string* value : {&read.version, &read.status, &read.errorCode}) {
        Require(value->size() <= 254 && value->find('\n') == std::string::npos);
    }
    // Values must survive a round trip if each fits on a line with its key.
    const bool fits = read.version.size() <= 242 && read.status.size() <= 253 && read.errorCode.size() <= 245;
    record.SetStatus(read.version, read.status, read.errorCode);
    const QuickFixStatus again = record.GetStatusFromFile();
    Require(!fits ||
            (again.version == read.version && again.status == read.status && again.errorCode == read.errorCode));
}

void ReadParameter(const std::string& input) {
    Write(INPUT_FILE, input);
    setenv("QUICKFIX_PARAMETERS", INPUT_FILE, 1);
    for (const unsigned int length : {1U, 2U, 256U}) {
        const std::unique_ptr<char[]> value(new char[length]);
        const int count = GetParameter("key", "default", value.get(), length);
        Require(count >= 0 && static_cast<unsigned int>(count) < length && value[static_cast<size_t>(count)] == '\0');
    }
}

void ReadCommandLine(const std::string& input) {
    const std::string key = input.substr(0, input.find(' '));
    Write("/proc/cmdline", input);
    const std::string token = StringUtils::GetKeyCmdlineStr(key);
    Require(token.find(' ') == std::string::npos && (token.empty() || token.find(key) != std::string::npos));
    std::string text = input;
    Require(StringUtils::Trim(text).find_last_not_of(" \t\n\v\f\r") + 1 == text.size());
}

void ReadJson(const std::string& input) {
    Write(INPUT_FILE, input);
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(JsonTool::ParseJsonFromFile(INPUT_FILE), cJSON_Delete);
    for (const std::string& key : {std::string("a"), std::string(), input.substr(0, input.find('"'))}) {
        Require(JsonTool::IsInt(root.get(), key) || JsonTool::GetInt(root.get(), key, -7) == -7);
        Require(JsonTool::IsString(root.get(), key) || JsonTool::GetString(root.get(), key, "d") == "d");
        Require(JsonTool::IsBoolean(root.get(), key) || JsonTool::GetBool(root.get(), key, true));
        Require(JsonTool::IsArray(root.get(), key) == (JsonTool::GetArray(root.get(), key) != nullptr));
        Require(JsonTool::IsObject(root.get(), key) == (JsonTool::GetObject(root.get(), key) != nullptr));
    }
}

void ReadCodes(const std::string& input) {
    ErrorCodeWrapper codes;
    try {
        codes.ConvertErrCode(input);
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    const std::string text = codes.GetErrorCode();
    ErrorCodeWrapper again;
    again.ConvertErrCode(text);
    Require(again.GetErrorCode() == text);
}

std::string Render(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = TEKLO::Platform::RenderPlumeText(format, arguments);
    va_end(arguments);
    return TEKLO::Platform::EscapeControls(text);
}

template <typename... Args>
void RenderIfItFits(const std::string& format, Args... args) {
    if (LogDetail::FormatFits<Args...>(format.c_str(), true)) {
        Require(Render(format.c_str(), args...).find_first_of("\n\x1b") == std::string::npos);
    }
}

void FormatRecord(const std::string& input) {
    const std::string plain = QuickFixLogger().FormatLog(input.c_str());
    Require(plain.find("{public}") == std::string::npos);
    std::string fixed = input;
    fixed.resize(64);
    Require(LogDetail::FileFormat<64>(fixed.c_str()).text == QuickFixLogger().FormatLog(fixed.c_str()));
    // Shortens widths, because a width of millions would allocate that much memory.
    std::string format = input.substr(0, input.find('\0'));
    size_t digits = 0;
    for (char& character : format) {
        digits = isdigit(character) != 0 ? digits + 1 : 0;
        character = digits > 3 ? '-' : character;
    }
    RenderIfItFits(format);
    RenderIfItFits(format, "text\n");
    RenderIfItFits(format, 7);
    RenderIfItFits(format, -1L, "\x1b");
    RenderIfItFits(format, 1.5, size_t{3});
    RenderIfItFits(format, 3, 1, 1.5L);
}

void ReadAppList(const std::string& input) {
    Write(INPUT_FILE, input);
    try {
        for (const App& app : ReadApps(INPUT_FILE)) {
            Require(IsSafeName(app.bundleName) && app.bundleName[0] != '-' && app.versionCode <= INT_MAX);
        }
    } catch (const Failure&) {
    }
}

std::string Markup(const std::string& html) {
    std::string markup;
    std::copy_if(html.begin(), html.end(), std::back_inserter(markup),
                 [](char character) { return character == '<' || character == '>' || character == '"'; });
    return markup;
}

void EscapeHtml(const std::string& input) {
    const auto page = [](const std::string& value) {
        return RenderHtml({{{value, Verdict::PASSED, {}}, {"x", Verdict::FAILED, {{"RWX", value, value}}}}, {}}, {});
    };
    Require(Markup(page(input + ".")) == Markup(page("harmless")));
    Require(page(input).find('\0') == std::string::npos);
    Require(cJSON_IsString(Json(cJSON_Parse(('"' + EscapeJson(input) + '"').c_str())).get()) != 0);
    Require(EscapeXml(input).find_first_of("<>\"'") == std::string::npos && IsPrintable(EscapeXml(input)));
    const std::string quoted = Quote(input);
    Require(IsPrintable(quoted) && IsPrintable(QuoteIfUnprintable(input)));
}

/// Verifies a file that has the input as its name and content, without a shell. Then changes the live file and verifies
/// it again.
void VerifyFile(const std::string& input) {
    std::string name;
    std::copy_if(input.begin(), input.end(), std::back_inserter(name),
                 [](char character) { return character != '/' && character != '\0'; });
    name.resize(std::min<size_t>(name.size(), NAME_MAX));
    if (name.empty() || name == "." || name == "..") {
        return;
    }
    const std::string live = "/fuzz/" + name;
    const std::string patch = PATCH_OVERLAY_PATH + live;
    Results results;
    TestManager manager;
    manager.SetInspection(Inspection::DIRECT);
    manager.SetItemListener([&results](const ItemResult& result) { results.files.push_back(result); });
    Write(patch, input);
    Write(live, input);
    const std::string fragment = manager.CheckNativePatch();
    const Results passed = results;
    Write(live, input + '\0');
    manager.CheckNativePatch();
    Require(unlink(live.c_str()) == 0 && unlink(patch.c_str()) == 0);
    Require(results.files.size() == 2 && results.files[0].item == live);
    Require(results.files[0].verdict == Verdict::PASSED && results.files[1].verdict == Verdict::FAILED);
    Require(cJSON_IsObject(Json(cJSON_Parse(MakeReportObject(fragment, passed).c_str())).get()) != 0);
}

/// A bus, a listener on the port, and a connection as the event service that can send any message.
class Bus {
public:
    Bus() {
        Require(CommonEventManager::SubscribeCommonEvent(listener_));
        Connect();
    }

    /// Sends a signal with the arguments in the input, which are separated by "|". The first byte of an argument is its
    /// type, the rest its value.
    void Send(const std::string& input) {
        sd_bus_message* signal = nullptr;
        Require(sd_bus_message_new_signal(service_.get(), &signal, "/any", "teklo.CommonEvent", "Published") >= 0);
        size_t at = 0;
        while (at < input.size()) {
            const char type = input[at++];
            const std::string text = input.substr(at, input.find('|', at) - at);
            Append(signal, type, text);
            at += text.size() + 1;
        }
        (void)sd_bus_send(service_.get(), signal, nullptr);
        sd_bus_message_unref(signal);
        // The bus disconnects a sender of invalid text.
        if (sd_bus_call_method(service_.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus.Peer", "Ping",
                               nullptr, nullptr, nullptr) < 0) {
            Connect();
        }
    }

    /// Requires that the next valid signal arrives.
    void RequireDelivery() {
        const int before = listener_->count;
        Send("swanted");
        Require(listener_->WaitFor(before + 1));
    }

private:
    void Connect() {
        service_.reset();
        service_ = ConnectAs("teklo.CommonEventService");
        Require(service_ != nullptr);
    }

    static void Append(sd_bus_message* signal, char type, const std::string& text) {
        const unsigned long number = text.size();
        switch (type) {
            case 's':
                (void)sd_bus_message_append(signal, "s", text.c_str());
                break;
            case 'v':
                (void)sd_bus_message_append(signal, "v", "s", text.c_str());
                break;
            case 'a':
                (void)sd_bus_message_append_array(signal, 'y', text.data(), text.size());
                break;
            case 'l':
                (void)sd_bus_message_append(signal, "as", 2, text.c_str(), "");
                break;
            default:
                (void)sd_bus_message_append(signal, "t", number);
        }
    }

    BusDaemon daemon_;
    std::shared_ptr<Listener> listener_ = std::make_shared<Listener>("wanted");
    BusClient service_;
};

void ReceiveSignal(const std::string& input) {
    // Never destroyed: the thread of its listener runs until the process ends.
    static Bus& bus = *new Bus;
    bus.Send(input);
    bus.RequireDelivery();
}

}  // namespace

const std::map<std::string, FuzzTarget> FUZZ_TARGETS = {
    {"app_list", ReadAppList},    {"bus_message", ReceiveSignal},
    {"code_list", ReadCodes},     {"command_line", ReadCommandLine},
    {"html", EscapeHtml},         {"json", ReadJson},
    {"log_format", FormatRecord}, {"parameter_file", ReadParameter},
    {"status_file", ReadStatus},  {"verified_file", VerifyFile},
};
