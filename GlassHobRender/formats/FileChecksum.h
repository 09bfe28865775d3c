#pragma once

// A checksum of a file's every byte that stands in the file itself, as one entry of its metadata: 64 hexadecimal
// digits, which count as zeros in the sum. Written last, in the place of a placeholder that is found nowhere else in
// the file. Any thread; reads the file as a whole.

#include <expected>
#include <string>
#include <string_view>

namespace glasshob::FileChecksum {

inline constexpr const char* metadataKey = "glasshob.checksum";

// 64 random digits, recognised by their number; the same ones throughout the process.
const std::string& placeholder();

// Puts the sum in the placeholder's place. Fails with a sentence.
std::expected<void, std::string> stamp(const std::string& path);

// Whether the file still is what it was when this sum, read from its metadata, was put in.
bool isIntact(const std::string& path, std::string_view sum);

} // namespace glasshob::FileChecksum
