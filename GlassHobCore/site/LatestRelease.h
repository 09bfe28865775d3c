#pragma once

// What the update feed says of the newest release: {"version": "1.4", "build": 42, "url": "https://…"} with "sha256"
// and "notes" where there are any; other keys mean nothing. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob {

struct LatestRelease {
    // An answer of this many bytes or more is no feed.
    static constexpr std::size_t sizeLimit = 65536;

    // For people.
    std::string version;
    // Counts releases; what is compared.
    std::int64_t build = 0;
    // The page or the file to download, as the feed has it.
    std::string url;
    std::optional<std::string> sha256;
    std::optional<std::string> notes;

    // Reads the feed's bytes. The build may be written as a text as well. The error says in a few words what is wrong.
    static std::expected<LatestRelease, std::string> parse(std::string_view json);

    // Whether it is to be offered to a program of this build: its build is higher and its address a full https one.
    // Never, when the current build is no decimal number.
    bool isNewer(std::string_view currentBuild) const;

    bool operator==(const LatestRelease&) const = default;
};

} // namespace glasshob
