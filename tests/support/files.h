#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
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

/// Writes a file, its missing folders too. Throws if it can't.
inline void Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size())).flush();
}

inline struct stat Stat(const std::string& path) {
    struct stat status = {};
    (void)stat(path.c_str(), &status);
    return status;
}

inline unsigned int Mode(const std::string& path) {
    return Stat(path).st_mode & 07777U;
}
