#include "MSL/fuzz/Findings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <spirv-tools/libspirv.hpp>

namespace msl::fuzz {
namespace {

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

void checkMessages(std::span<const Diagnostic> messages, std::string_view source, bool isFailure) {
    constexpr std::string_view ownFault = "internal compiler error"; // unless the text says so, and is quoted
    const bool quotesOwnFault = source.find(ownFault) != source.npos;
    const bool renumbersLines = mayRenumberLines(source);
    const std::size_t lines = lineCount(source);
    const auto check = [&](const Diagnostic& message) {
        const std::string shown = toText({&message, 1});
        if (!quotesOwnFault && message.message.find(ownFault) != std::string::npos) finding(shown);
        if (message.message.find('\n') != std::string::npos) finding("a message of several lines: " + shown);
        if (message.line == 0 && !renumbersLines) finding("a message in line 0: " + shown);
        if (message.line > lines && !renumbersLines) finding("a message behind the last line: " + shown);
        if (message.column == 0 || message.column + message.length > source.size() + 1)
            finding("a message outside its line: " + shown);
        if (message.fixIt && message.fixIt->column - 1 + message.fixIt->length > source.size())
            finding("a fix-it outside its line: " + shown);
    };
    bool hasError = false;
    for (const Diagnostic& message : messages) {
        check(message);
        std::ranges::for_each(message.notes, check);
        hasError = hasError || message.severity == Severity::error;
    }
    const std::string text = toText(messages);
    if (text.size() > 400'000) finding("more messages than anybody reads");
    if (isFailure && !hasError) finding("a failure without an error: " + text);
    if (!isFailure && hasError) finding("an error beside a module: " + text);
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
