#pragma once
// How a reader says where it stopped: the file, the line of a text file or the
// byte offset of a binary one, what it expected there and what it found. The
// text follows the system's own message, so a person can open the file and go
// straight to the fault.

#include <cstdint>
#include <filesystem>
#include <string>

// "GEOTEM.DSC:98: what"
std::string AtLine(const std::filesystem::path& file, long line, const std::string& what);
// "survey.BIN: byte 30: what"
std::string AtOffset(const std::filesystem::path& file, std::int64_t offset,
                     const std::string& what);
// "expected <expected>, found "<found>"", the found text cut to a readable
// length and its control characters shown as '?'.
std::string ExpectedFound(const std::string& expected, const std::string& found);
