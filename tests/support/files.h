#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

inline constexpr char LOG_DIR[] = "/data/update/quickfix/log/";
inline constexpr char FIRST_LOG[] = "/data/update/quickfix/log/quickfix_1.log";
inline constexpr char SECOND_LOG[] = "/data/update/quickfix/log/quickfix_2.log";

inline std::string Read(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// Writes a file, and creates its missing directories. Throws on failure.
inline void Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size())).flush();
}

inline void Install(const std::string& path, const std::string& content, unsigned int mode = 0644) {
    Write(path, content);
    std::filesystem::permissions(path, std::filesystem::perms(mode));
}

/// Returns the content of a log file with its time stamps replaced by "TIME".
inline std::string ReadLog(const std::string& path) {
    static const std::regex time(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\[)");
    return std::regex_replace(Read(path), time, "TIME[");
}

inline struct stat Stat(const std::string& path) {
    struct stat status = {};
    (void)stat(path.c_str(), &status);
    return status;
}

inline unsigned int Mode(const std::string& path) {
    return Stat(path).st_mode & 07777U;
}

/// Returns the IDs of the owner, "USER:GROUP".
inline std::string Owner(const std::string& path) {
    return std::to_string(Stat(path).st_uid) + ":" + std::to_string(Stat(path).st_gid);
}
