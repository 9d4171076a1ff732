#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Reads the kernel's small files. What is missing or cannot be read is absent, never 0. Thread-safe.
namespace vigilo::sysfs {

// Without the blanks and line ends around it.
std::optional<std::string> readText(const std::string& path);
// Absent also where it is no whole number or lies beyond plus or minus `most`.
std::optional<std::int64_t> readInteger(const std::string& path, std::int64_t most = 1'000'000'000'000);
// The paths of the folders (and links to them) in a folder whose names begin so, by name.
std::vector<std::string> folders(const std::string& path, const std::string& prefix = "");

}  // namespace vigilo::sysfs
