// Text to syntax tree, and the tree printed: every text gives a tree that can be walked.
#include "MSL/ast/Dump.h"
#include "MSL/fuzz/Findings.h"
#include "MSL/parse/Parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace msl;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const bool hasHost = fuzz::hashOf(text) % 3 == 0;
    Arena arena;
    SourceManager sources(text, "text", hasHost ? size / 4 : 0, hasHost ? size / 2 : 0);
    Diagnostics diagnostics(sources);
    IdentifierTable identifiers(arena);
    WorkLimit limit(std::chrono::milliseconds(0));
    const TranslationUnit* unit = parse(sources, identifiers, arena, diagnostics, limit);
    if (unit == nullptr) fuzz::finding("no tree");
    dump(*unit);
    fuzz::checkMessages(diagnostics.messages(), text, diagnostics.hasErrors());
    return 0;
}
