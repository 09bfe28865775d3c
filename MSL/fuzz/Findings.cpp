#include "MSL/fuzz/Findings.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <spirv-tools/libspirv.hpp>

namespace msl::fuzz {
namespace {

struct Header {
    unsigned long line = 0;
    unsigned long column = 0;
    bool isError = false;
};

// "file:12:5: error: words"; #error may have no words. The file's name may hold anything, so it is read from the
// severity backwards.
std::optional<Header> readHeader(std::string_view line) {
    for (const auto& [severity, isError] :
         {std::pair{": error: ", true}, {": warning: ", false}, {": note: ", false}}) {
        const std::size_t at = line.find(severity);
        if (at == std::string_view::npos) continue;
        const std::string_view place = line.substr(0, at);
        const std::size_t second = place.rfind(':');
        if (second == std::string_view::npos || second == 0) continue;
        const std::size_t first = place.rfind(':', second - 1);
        if (first == std::string_view::npos) continue;
        Header header{.isError = isError};
        const auto number = [&](std::size_t begin, std::size_t end, unsigned long& out) {
            const auto result = std::from_chars(place.data() + begin, place.data() + end, out);
            return result.ec == std::errc() && result.ptr == place.data() + end;
        };
        if (number(first + 1, second, header.line) && number(second + 1, place.size(), header.column)) return header;
    }
    return std::nullopt;
}

bool isCaret(std::string_view line) {
    return line.ends_with('^') && line.find_first_not_of(" \t") == line.size() - 1;
}

// Lines as the messages count them; every kind of line end ends one.
std::size_t lineCount(std::string_view text) {
    return 1 + static_cast<std::size_t>(std::ranges::count_if(text, [](char c) { return c == '\n' || c == '\r'; }));
}

// #line, also in parts (li\ne) and as "# 7".
bool mayRenumberLines(std::string_view text) {
    for (std::size_t at = text.find('#'); at != text.npos; at = text.find('#', at + 1)) {
        const std::size_t next = text.find_first_not_of(" \t", at + 1);
        if (next != text.npos && text[next] >= '0' && text[next] <= '9') return true;
    }
    return text.find("line") != text.npos || text.find('\\') != text.npos;
}

} // namespace

std::uint32_t hashOf(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const unsigned char c : text)
        hash = (hash ^ c) * 16777619U;
    return hash ^ (hash >> 15);
}

void finding(const std::string& what) {
    std::fprintf(stderr, "FINDING: %s\n", what.c_str());
    std::abort();
}

void checkMessages(std::string_view messages, std::string_view source, bool isFailure) {
    constexpr std::string_view ownFault = "internal compiler error"; // unless the text says so, and is quoted
    if (messages.find(ownFault) != messages.npos && source.find(ownFault) == source.npos)
        finding(std::string(messages));
    if (!messages.empty() && !messages.ends_with('\n')) finding("the last message has no line end");
    if (messages.size() > 400'000) finding("more messages than anybody reads");
    std::vector<std::string_view> lines;
    for (std::size_t at = 0; at < messages.size();) {
        const std::size_t end = messages.find('\n', at);
        lines.push_back(messages.substr(at, end - at));
        at = end + 1;
    }
    const bool renumbersLines = mayRenumberLines(source);
    bool hasError = false;
    for (std::size_t i = 0; i < lines.size();) {
        const std::optional<Header> header = readHeader(lines[i]);
        if (!header) finding("no message: " + std::string(lines[i]));
        hasError = hasError || header->isError;
        if (header->line == 0 && !renumbersLines) finding("a message in line 0: " + std::string(lines[i]));
        if (header->line > lineCount(source) && !renumbersLines)
            finding("a message behind the last line: " + std::string(lines[i]));
        if (header->column == 0 || header->column > source.size() + 1)
            finding("a message outside its line: " + std::string(lines[i]));
        i += i + 2 < lines.size() && isCaret(lines[i + 2]) ? 3 : 1;
    }
    if (isFailure && !hasError) finding("a failure without an error: " + std::string(messages));
    if (!isFailure && hasError) finding("an error beside a module: " + std::string(messages));
}

void checkModule(const std::vector<std::uint32_t>& spirv) {
    std::string problems;
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_3);
    tools.SetMessageConsumer([&](spv_message_level_t, const char*, const spv_position_t&, const char* message) {
        problems += message;
        problems += '\n';
    });
    spvtools::ValidatorOptions options;
    options.SetScalarBlockLayout(true);
    if (!tools.Validate(spirv.data(), spirv.size(), options)) finding("the validator refuses the module: " + problems);
}

} // namespace msl::fuzz
