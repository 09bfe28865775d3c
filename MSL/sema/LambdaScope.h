// What is known about one lambda while its body is being resolved, and after that for a generic one. Owned by the
// Analyzer, by the lambda's closure.
#pragma once

#include "MSL/sema/Analyzer.h"

namespace msl {

struct Analyzer::LambdaScope {
    StructDecl* closure = nullptr;
    FunctionDecl* function = nullptr;
    FunctionContext outer; // of the function that the lambda stands in
    bool byValue = false;  // [=]
    bool byReference = false;
    bool isComplete = false; // the closure is made: nothing more can be captured
    std::vector<VarDecl*> fields;
    std::vector<Expr*> values; // what each field starts with, resolved outside
    std::unordered_map<const VarDecl*, VarDecl*> captured;
    VarDecl* self = nullptr;                                  // the field that holds "this" of the function around
    std::vector<std::pair<const Identifier*, Decl*>> visible; // generic: the names that its body can see
};

} // namespace msl
