#include "MSL/Compiler.h"

#include "MSL/ast/Ast.h"
#include "MSL/ir/Ir.h"
#include "MSL/legalize/Legalize.h"
#include "MSL/lex/Identifier.h"
#include "MSL/lower/Lower.h"
#include "MSL/parse/Parser.h"
#include "MSL/passes/IndexChecks.h"
#include "MSL/passes/UnusedInputs.h"
#include "MSL/sema/Sema.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/WorkLimit.h"
#include "MSL/spirv/SpirvWriter.h"
#include "MSL/types/Types.h"

#include <algorithm>
#include <limits>

namespace msl {

namespace {

std::string_view systemValueAttribute(ir::SystemValue value) {
    using enum ir::SystemValue;
    switch (value) {
    case position:
    case fragCoord: return "position";
    case pointSize: return "point_size";
    case vertexId: return "vertex_id";
    case instanceId: return "instance_id";
    case pointCoord: return "point_coord";
    case frontFacing: return "front_facing";
    case globalInvocationId: return "thread_position_in_grid";
    case fragDepth: return "depth(any)";
    default: return "";
    }
}

StageVariable stageVariable(const ir::Variable& variable) {
    StageVariable out;
    out.name = variable.name;
    out.typeName = typeName(variable.type);
    const bool isSystem = variable.systemValue != ir::SystemValue::none;
    out.attribute = !variable.attribute.empty() ? variable.attribute : systemValueAttribute(variable.systemValue);
    out.location = isSystem ? -1 : static_cast<std::int32_t>(variable.location);
    return out;
}

Binding binding(const ir::Variable& variable) {
    Binding out;
    out.name = variable.name;
    out.kind = variable.bindingKind;
    out.metalIndex = variable.metalIndex;
    out.set = variable.set;
    out.binding = variable.binding;
    out.isWritten = variable.isWritable;
    out.samplerState = variable.samplerState;
    out.argumentBuffer = variable.argumentBuffer;
    TypeRef element = variable.declared != nullptr ? variable.declared : variable.type;
    if (variable.kind != ir::Variable::Kind::buffer && element->is(TypeKind::array)) {
        out.arrayCount = static_cast<std::uint32_t>(element->count);
        element = element->element;
    }
    if (variable.kind == ir::Variable::Kind::buffer) {
        out.isArray = element->is(TypeKind::array) && element->count == 0;
        if (out.isArray) element = element->element;
        const Layout layout = layoutOf(element);
        out.byteSize = static_cast<std::uint32_t>(layout.size);
        out.byteAlignment = layout.alignment;
    }
    out.typeName = typeName(element);
    return out;
}

ThreadgroupArgument threadgroupArgument(const ir::Variable& variable) {
    const bool isArray = variable.type->is(TypeKind::array) && variable.type->count == 0;
    const TypeRef element = isArray ? variable.type->element : variable.type;
    return {std::string(variable.name), variable.metalIndex, typeName(element),
            static_cast<std::uint32_t>(layoutOf(element).size), isArray};
}

FunctionConstant functionConstant(const ir::FunctionConstant& constant) {
    const bool isBool = constant.type->scalar == ScalarKind::bool_;
    return {std::string(constant.name), typeName(constant.type), constant.index,
            isBool ? 4 : byteSize(constant.type->scalar), constant.type->columns};
}

Reflection reflect(const ir::Module& module, const TranslationUnit& unit) {
    Reflection reflection;
    for (const ir::Entry* entry : module.entries) {
        EntryPoint& out = reflection.entryPoints.emplace_back();
        out.name = entry->name;
        out.stage = entry->stage;
        if (entry->stage == Stage::kernel) out.localSize = {64, 1, 1};
        out.threadgroupBytes = static_cast<std::uint32_t>(entry->threadgroupBytes);
        for (const ir::Variable* variable : *entry->interface) {
            switch (variable->kind) {
            case ir::Variable::Kind::input: out.inputs.push_back(stageVariable(*variable)); break;
            case ir::Variable::Kind::output: out.outputs.push_back(stageVariable(*variable)); break;
            case ir::Variable::Kind::buffer:
            case ir::Variable::Kind::texture:
            case ir::Variable::Kind::sampler: out.bindings.push_back(binding(*variable)); break;
            case ir::Variable::Kind::threadgroup:
                out.threadgroupArguments.push_back(threadgroupArgument(*variable));
                break;
            default: break;
            }
        }
    }
    for (const ir::FunctionConstant& constant : module.functionConstants)
        reflection.functionConstants.push_back(functionConstant(constant));
    for (const StructDecl* decl : unit.structs) {
        if (decl->name == nullptr) continue;
        StructLayout& out = reflection.structs.emplace_back();
        out.name = decl->name->text;
        out.size = static_cast<std::uint32_t>(decl->record->size);
        out.alignment = decl->record->alignment;
        for (const Field& field : decl->record->fields)
            out.members.push_back({std::string(field.name), typeName(field.type),
                                   static_cast<std::uint32_t>(field.offset),
                                   static_cast<std::uint32_t>(layoutOf(field.type).size)});
    }
    return reflection;
}

WarningLevel warningLevel(CompileOptions::Warnings warnings) {
    switch (warnings) {
    case CompileOptions::Warnings::told: break;
    case CompileOptions::Warnings::ignored: return WarningLevel::ignored;
    case CompileOptions::Warnings::errors: return WarningLevel::error;
    }
    return WarningLevel::warning;
}

// In builds for finding faults, which pass left the IR in a state that it must not have.
void verify([[maybe_unused]] const ir::Module& module, [[maybe_unused]] std::string_view pass,
            [[maybe_unused]] Diagnostics& diagnostics) {
#ifdef MSL_VERIFY_IR
    const std::string fault = ir::verify(module);
    if (!fault.empty())
        diagnostics.internalError(SourceLocation::atOffset(0), "after " + std::string(pass) + ": " + fault);
#endif
}

} // namespace

std::expected<CompiledLibrary, CompileError> compile(std::string_view source, const CompileOptions& options) {
    // Offsets are 32 bits, and no shader is that long.
    constexpr std::size_t largestSource = 64U * 1024 * 1024;
    const bool isTooLong = source.size() > largestSource;
    const std::string_view text = isTooLong ? std::string_view() : source;

    Arena arena;
    SourceManager sources(text, options.fileName, options.foreignBegin, options.foreignEnd);
    Diagnostics diagnostics(sources, warningLevel(options.warnings));
    WorkLimit limit(options.timeLimit);
    const auto failed = [&] { return std::unexpected(CompileError{diagnostics.errorText()}); };
    const auto tooMuchWork = [&] {
        if (limit.exceeded() && !diagnostics.hasErrors())
            diagnostics.error(SourceLocation::atOffset(0), "this text takes too long to compile");
        return limit.exceeded();
    };
    if (isTooLong) {
        diagnostics.error(SourceLocation::atOffset(0), "the source is longer than 64 MB");
        return failed();
    }

    // Text to tree. The preprocessor feeds the parser token by token, so these two are one pass over the text.
    IdentifierTable identifiers(arena);
    TranslationUnit* unit = parse(sources, identifiers, arena, diagnostics, limit);

    // Names, types and conversions. Runs after syntax errors too, for the messages about the parts that were
    // understood.
    TypeTable types(arena);
    if (!tooMuchWork()) analyze(*unit, types, identifiers, arena, diagnostics, limit);
    if (tooMuchWork() || diagnostics.hasErrors()) return failed();

    // Tree to IR: only from a tree without errors, so that lowering need not doubt it. Pointers end here.
    ir::Module module(arena, types);
    lower(*unit, module, diagnostics, limit);
    if (tooMuchWork() || diagnostics.hasErrors()) return failed();
    verify(module, "lowering", diagnostics);
    Reflection reflection = reflect(module, *unit);

    // Before the index checks, which cost something for each place that is left.
    dropUnusedInputs(module);
    verify(module, "leaving out unused inputs", diagnostics);

    // Before any writer, so that every writer's output is safe.
    checkIndexes(module);
    verify(module, "the index checks", diagnostics);

    // What the writer's target lacks, in terms of what it has.
    legalize(module, spirv::target());
    verify(module, "legalizing", diagnostics);

    auto words = spirv::write(module, {.debugNames = options.debugNames});
    if (!words) diagnostics.internalError(SourceLocation::atOffset(0), words.error());
    if (diagnostics.hasErrors()) return failed();
    return CompiledLibrary{std::move(*words), std::move(reflection), diagnostics.warningText()};
}

std::string_view version() {
    return MSL_VERSION;
}

} // namespace msl
