#pragma once

#include <string>

/// Empty when `path` can take a file, a new one or in place of a regular one; else why it can't.
std::string WhyNotWritable(const std::string& path);

/// Writes a file whole or not at all: what stood at `path` stays until the new content is safely on the disk. Empty on
/// success, else why it failed.
std::string WriteWhole(const std::string& path, const std::string& content);
