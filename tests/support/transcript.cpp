#include "support/transcript.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <map>
#include <memory>
#include <regex>
#include <stdexcept>

#include "error_code_wrapper.h"
#include "file_utils.h"
#include "json_tool.h"
#include "platform/memory_platform.h"
#include "quick_fix_log.h"
#include "quick_fix_status_record.h"
#include "string_utils.h"
#include "support/files.h"
#include "support/labels.h"
#include "support/plume_capture.h"
#include "sys_utils.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

using Words = std::vector<std::string>;

ErrorCodeWrapper g_codes;
QuickFixStatusRecord& g_status = QuickFixStatusRecord::GetInstance();

std::string Text(bool result) {
    return result ? "true" : "false";
}

std::string Text(const QuickFixStatus& status) {
    return status.version + "|" + status.status + "|" + status.errorCode;
}

std::string Text(const Words& pieces) {
    std::string text;
    for (const std::string& piece : pieces) {
        text += "[" + piece + "]";
    }
    return text;
}

/// The owner by number, "USER:GROUP".
std::string Owner(const std::string& path) {
    return std::to_string(Stat(path).st_uid) + ":" + std::to_string(Stat(path).st_gid);
}

std::string PathGidAndUid(const Words& words) {
    unsigned int uid = 1;
    unsigned int gid = 1;
    FileUtils::GetPathGidAndUid(words[0], uid, gid);
    return std::to_string(uid) + " " + std::to_string(gid);
}

unsigned int Octal(const std::string& digits) {
    return static_cast<unsigned int>(std::stoul(digits, nullptr, 8));
}

/// Type and permission of the path itself, no link followed; 0 when there is nothing.
std::string TypeAndMode(const std::string& path) {
    struct stat status = {};
    (void)lstat(path.c_str(), &status);
    std::ostringstream mode;
    mode << std::oct << status.st_mode;
    return mode.str();
}

/// Sets times behind the year 2038, which 32 bits don't hold.
std::string SetLateTimes(const Words& words) {
    const timespec late = {static_cast<time_t>(2500000000), 0};
    const timespec times[] = {late, late};
    return Text(utimensat(AT_FDCWD, words[0].c_str(), times, 0) == 0 && Stat(words[0]).st_mtime > 2400000000);
}

std::string Log(const std::string& path) {
    static const std::regex time(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\[)");
    return std::regex_replace(Read(path), time, "TIME[");
}

std::string SizeOfFile(const Words& words) {
    return std::to_string(FileUtils::GetFileSize(words[0], static_cast<FileSizeUnit>(std::stoi(words[1]))));
}

std::string Open(const Words& words) {
    static std::fstream stream;  // one for all, so that a failure before might stick
    stream.close();
    const auto openMode = words[1] == "in" ? std::ios::in : std::ios::out | std::ios::trunc;
    return Text(FileUtils::OpenFile(stream, words[0], static_cast<unsigned int>(openMode), Octal(words[2])));
}

std::string SetLocale(const Words& words) {
    setenv("LOCPATH", "/tmp", 1);
    (void)std::system(("localedef -i de_DE -f UTF-8 /tmp/" + words[0]).c_str());
    return Text(setlocale(LC_ALL, words[0].c_str()) != nullptr);
}

/// The types that a member seems to have, and what the getters give for it, -1, "-" and true by default.
std::string Member(const Words& words) {
    Write("/tmp/json", words[0]);
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> tree(JsonTool::ParseJsonFromFile("/tmp/json"), cJSON_Delete);
    cJSON* root = tree.get();
    const std::pair<bool, const char*> types[] = {{root == nullptr, "no JSON,"},
                                                  {JsonTool::IsInt(root, "key"), "int"},
                                                  {JsonTool::IsString(root, "key"), "string"},
                                                  {JsonTool::IsBoolean(root, "key"), "bool"},
                                                  {JsonTool::IsArray(root, "key"), "array"},
                                                  {JsonTool::GetArray(root, "key") != nullptr, "taken"},
                                                  {JsonTool::IsObject(root, "key"), "object"},
                                                  {JsonTool::GetObject(root, "key") != nullptr, "taken"}};
    std::string text;
    for (const auto& [is, type] : types) {
        text += is ? type + std::string(" ") : "";
    }
    return text + std::to_string(JsonTool::GetInt(root, "key", -1)) + " " + JsonTool::GetString(root, "KEY", "-") +
           " " + Text(JsonTool::GetBool(root, "key", true));
}

std::string BaseName(const Words& words) {
    const char* path = words[0].c_str();
    return words[0].substr(LogDetail::BaseNameStart(path), LogDetail::BaseNameLength(path));
}

std::string FormatTime(const Words& words) {
    std::string buffer(64, '\0');
    return Text(QuickFixLogger().GetFormatTime(buffer.data(), std::stoul(words[0])));
}

void SetStatus(const Words& words) {
    QuickFixStatus status = {words[0], words[1], words[2]};
    g_status.SetStatus(status);
}

QuickFixLogger& Logger() {
    return *TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance();
}

/// What a fragment says behind its header; all of it when it has none.
std::string Details(const std::string& fragment) {
    const size_t start = fragment.rfind(": {");
    return start == std::string::npos ? fragment : fragment.substr(start + 3);
}

std::string CheckNativePatch() {
    TestManager manager;
    const std::string details = Details(manager.CheckNativePatch());
    return details +
           (manager.GetInconclusiveCount() == 0 ? "" : " unproven: " + std::to_string(manager.GetInconclusiveCount()));
}

/// Of bundles and version codes.
std::string QenFragment(const Words& words) {
    TestManager manager;
    manager.CheckAppPatchInit();
    for (size_t i = 0; i + 1 < words.size() && !words[i].empty(); i += 2) {
        manager.CheckAppPatch(words[i], static_cast<unsigned int>(std::stoul(words[i + 1])));
    }
    return manager.CheckAppPatchEnd();
}

std::string CheckAppVersion(const Words& words) {
    unsigned int version = 5;
    const bool passed =
        TestManager().CheckAppVersion(words[0], static_cast<unsigned int>(std::stoul(words[1])), version);
    return Text(passed) + " " + std::to_string(version);
}

/// Puts a script first in the path, under the name of a command.
void InstallCommand(const Words& words) {
    Write("/double/" + words[0], "#!/bin/sh\n" + words[1]);
    fs::permissions("/double/" + words[0], fs::perms(0755));
    setenv("PATH", "/double:/usr/bin", 1);
}

const std::map<std::string, std::function<void(const Words&)>> STEPS = {
    {"folder", [](auto& words) { fs::create_directories(words[0]); }},
    {"write", [](auto& words) { Write(words[0], words[1]); }},
    {"append", [](auto& words) { std::ofstream(words[0], std::ios::app) << words[1]; }},
    {"link", [](auto& words) { fs::create_symlink(words[1], words[0]); }},
    {"resize", [](auto& words) { fs::resize_file(words[0], std::stoull(words[1])); }},
    {"remove", [](auto& words) { fs::remove(words[0]); }},
    {"socket", [](auto& words) { (void)mknod(words[0].c_str(), S_IFSOCK | 0600, 0); }},
    {"mode", [](auto& words) { fs::permissions(words[0], fs::perms(Octal(words[1]))); }},
    {"command", InstallCommand},
    {"label", [](auto& words) { SetLabel(words[0], words[1]); }},
    {"own", [](auto& words) { (void)!chown(words[0].c_str(), 1234, 2345); }},
    {"SetGidAndUidToQuickFix", [](auto& words) { FileUtils::SetGidAndUidToQuickFix(words[0]); }},
    {"parameter", [](auto& words) { TEKLO::MemoryPlatform::SetParameter(words[0], words[1]); }},
    {"fail-parameters", [](auto& words) { TEKLO::MemoryPlatform::FailParameters(std::stoi(words[0])); }},
    {"AddErrorCode", [](auto& words) { g_codes.AddErrorCode(static_cast<ErrorCode>(std::stoi(words[0]))); }},
    {"ConvertErrCode", [](auto& words) { g_codes.ConvertErrCode(words[0]); }},
    {"ClearErrorCode", [](auto&) { g_codes.ClearErrorCode(); }},
    {"InitStatusRecord", [](auto& words) { g_status.InitStatusRecord(words[0], words[1]); }},
    {"SetStatus/1", [](auto& words) { g_status.SetStatus(words[0]); }},
    {"SetStatus/2", [](auto& words) { g_status.SetStatus(words[0], words[1]); }},
    {"SetStatus/3", [](auto& words) { g_status.SetStatus(words[0], words[1], words[2]); }},
    {"SetStatus", SetStatus},
    {"ClearStatusRecord", [](auto&) { g_status.ClearStatusRecord(); }},
    {"OutputLog", [](auto& words) { Logger().OutputLog(words[0].c_str(), "f", "g", 1); }},
    {"RemoveLog", [](auto&) { Logger().RemoveLog(); }},
};

const std::map<std::string, std::function<std::string(const Words&)>> QUERIES = {
    {"late", SetLateTimes},
    {"read", [](auto& words) { return Read(words[0]); }},
    {"type", [](auto& words) { return TypeAndMode(words[0]); }},
    {"owner", [](auto& words) { return Owner(words[0]); }},
    {"GetPathGidAndUid", PathGidAndUid},
    {"entries", [](auto& words) { return std::to_string(std::distance(fs::directory_iterator(words[0]), {})); }},
    {"log", [](auto& words) { return Log(words[0]); }},
    {"FileIsExist", [](auto& words) { return Text(FileUtils::FileIsExist(words[0])); }},
    {"DirIsExist", [](auto& words) { return Text(FileUtils::DirIsExist(words[0])); }},
    {"IsValidPath", [](auto& words) { return Text(FileUtils::IsValidPath(words[0])); }},
    {"MakeDir", [](auto& words) { return Text(FileUtils::MakeDir(words[0], Octal(words[1]))); }},
    {"MakeFile", [](auto& words) { return Text(FileUtils::MakeFile(words[0], words[1])); }},
    {"GetFileSize", SizeOfFile},
    {"GetDirSize", [](auto& words) { return std::to_string(FileUtils::GetDirSize(words[0])); }},
    {"CleanDir",
     [](auto& words) {
         return Text(FileUtils::CleanDir(words[0].empty() ? nullptr : words[0].c_str(), words[1] == "self"));
     }},
    {"RenameFile", [](auto& words) { return Text(FileUtils::RenameFile(words[0], words[1])); }},
    {"OpenFile", Open},
    {"CopyFile", [](auto& words) { return Text(FileUtils::CopyFile(words[0], words[1])); }},
    {"CopyDir", [](auto& words) { return Text(FileUtils::CopyDir(words[0], words[1])); }},
    {"GetFileSHA256", [](auto& words) { return FileUtils::GetFileSHA256(words[0]); }},
    {"ReadLines", [](auto& words) { return Text(FileUtils::ReadLines(words[0])); }},
    {"GetFileStream", [](auto& words) { return FileUtils::GetFileStream(words[0]); }},
    {"Split", [](auto& words) { return Text(StringUtils::Split(Words(words)[0], ',')); }},
    {"GetKeyCmdlineStr", [](auto& words) { return StringUtils::GetKeyCmdlineStr(words[0]); }},
    {"GetErrorCode", [](auto&) { return g_codes.GetErrorCode(); }},
    {"locale", SetLocale},
    {"member", Member},
    {"GetStatus", [](auto&) { return Text(g_status.GetStatus()); }},
    {"GetStatusFromFile", [](auto&) { return Text(g_status.GetStatusFromFile()); }},
    {"GetBaseVersion", [](auto&) { return SysUtils::GetBaseVersion(); }},
    {"CreateLogFile", [](auto& words) { return Text(Logger().CreateLogFile(words[0])); }},
    {"BaseName", BaseName},
    {"GetFormatTime", FormatTime},
    {"CheckNativePatch", [](auto&) { return CheckNativePatch(); }},
    {"NativeFragment", [](auto&) { return TestManager().CheckNativePatch(); }},
    {"GetFileProp", [](auto& words) { return TestManager().GetFileProp(words[0]); }},
    {"GetFileSeLinux", [](auto& words) { return TestManager().GetFileSeLinux(words[0]); }},
    {"QenFragment", QenFragment},
    {"CheckAppPatch", [](auto& words) { return Details(QenFragment(words)); }},
    {"AppIsExist", [](auto& words) { return Text(TestManager().AppIsExist(words[0])); }},
    {"PatchFlagIsExist", [](auto& words) { return Text(TestManager().PatchFlagIsExist(words[0])); }},
    {"CheckAppVersion", CheckAppVersion},
    {"free", [](auto& words) { return Text(FileUtils::GetDiskFreeSpace(words[0]) > 0); }},
    {"FormatLog", [](auto& words) { return Logger().FormatLog(words[0].c_str()); }},
};

/// The word that is meant: "\n" is a line feed, "\r" a carriage return, "\0" a zero byte, "x{300}" 300 times an x.
std::string Meant(std::string word) {
    static const std::regex special(R"(\\([nr0])|(.)\{(\d+)\})");
    std::string meant;
    for (std::smatch part; std::regex_search(word, part, special); word = part.suffix()) {
        const char escaped = part[1] == "n" ? '\n' : part[1] == "r" ? '\r' : '\0';
        meant += part.prefix();
        meant += part[1].matched ? std::string(1, escaped) : std::string(std::stoul(part[3]), *part[2].first);
    }
    return meant + word;
}

/// The other way round; a character counts as repeated behind 20 of it.
std::string Shown(const std::string& text) {
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const char character = text[at];
        const size_t count = std::min(text.find_first_not_of(character, at), text.size()) - at;
        const char* escaped = character == '\n'   ? "\\n"
                              : character == '\r' ? "\\r"
                              : character == '\0' ? "\\0"
                                                  : nullptr;
        const std::string one = escaped != nullptr ? escaped : std::string(1, character);
        shown += one + (count > 20 ? "{" + std::to_string(count) + "}" : "");
        at += count > 20 ? count : 1;
    }
    return shown;
}

std::string Outcome(const std::string& name, const Words& words) {
    try {
        const auto step = STEPS.find(name);
        if (step != STEPS.end()) {
            step->second(words);
            return "";
        }
        const std::string outcome = Shown(QUERIES.at(name)(words));
        return " -> " + (outcome.empty() ? "\"\"" : outcome);
    } catch (const std::invalid_argument&) {
        return " -> throws invalid_argument";
    } catch (const std::out_of_range&) {
        return " -> throws out_of_range";
    } catch (const fs::filesystem_error&) {
        return " -> throws filesystem_error";
    }
}

}  // namespace

std::string Do(const std::string& call) {
    std::istringstream input(call);
    std::string name;
    input >> name;
    Words words;
    for (std::string word; input >> std::quoted(word, '"', '\x01');) {
        words.push_back(Meant(word));
    }
    words.resize(std::max<size_t>(words.size(), 3));
    PlumeCapture capture;
    std::string done = call + Outcome(name, words);
    for (const std::string& record : capture.Take()) {
        const bool ofTheUser = record.rfind("I GetRunningStage: ", 0) == 0;
        done += ofTheUser ? "" : "\n    \"" + Shown(record) + "\"";
    }
    return done + "\n";
}
