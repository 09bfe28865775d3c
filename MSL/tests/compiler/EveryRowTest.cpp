// Every row of the library's tables becomes a module that the validator takes: a row that sema admits and that
// lowering, legalizing or the writer does not know fails here.
#include "MSL/Compiler.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/builtins/TextureMethods.h"
#include "MSL/tests/compiler/Validated.h"

#include <gtest/gtest.h>

#include <set>

namespace msl {
namespace {

constexpr ScalarKind kinds[] = {ScalarKind::bool_,  ScalarKind::char_, ScalarKind::uchar,  ScalarKind::short_,
                                ScalarKind::ushort, ScalarKind::int_,  ScalarKind::uint,   ScalarKind::long_,
                                ScalarKind::ulong,  ScalarKind::half,  ScalarKind::bfloat, ScalarKind::float_};

// A scalar of what a call gave, as a float.
std::string firstPart(TypeRef type, const std::string& value) {
    return "float(" + value + (type->isMatrix() ? "[0].x)" : type->isVector() ? ".x)" : ")");
}

// One call with arguments that are known at run time only, in a block of its own.
std::string call(const TypeTable& types, const BuiltinFunction& row, const std::string& space, TypeRef t) {
    const BuiltinSignature& signature = *row.signature;
    std::string before;
    std::string arguments;
    for (unsigned i = 0; i < signature.parameterCount; ++i) {
        const BuiltinSlot slot = signature.parameters[i];
        const std::string name = "a" + std::to_string(i);
        std::string argument = name;
        if (row.family == BuiltinFamily::barrier || slot == BuiltinSlot::atomicPointer || slot == BuiltinSlot::int_) {
            argument = slot == BuiltinSlot::atomicPointer ? "(device " + typeName(types.atomic(t->scalar)) + "*)words"
                       : signature.parameterNames[i] == "flags" ? "mem_flags::mem_device"
                       : signature.parameterNames[i] == "scope" ? "thread_scope_device"
                                                                : "memory_order_relaxed";
            if (row.family == BuiltinFamily::barrier && i >= signature.requiredCount) continue;
        } else {
            const TypeRef type = slotType(types, slot, t);
            before += type->isMatrix()
                          ? typeName(type) + " " + name + "; " + name + "[0] = n[" + std::to_string(i) + "]; "
                          : typeName(type) + " " + name + " = " + typeName(type) + "(n[" + std::to_string(i) + "]); ";
        }
        arguments += (arguments.empty() ? "" : ", ") +
                     (slot == BuiltinSlot::threadT && t != nullptr && signature.typeClass == BuiltinClass::atomic
                          ? "&" + argument
                          : argument);
    }
    const std::string text = space + std::string(row.name) + "(" + arguments + ");";
    if (signature.result == BuiltinSlot::void_) return "{ " + before + text + " }\n";
    const TypeRef result = slotType(types, signature.result, t);
    return "{ " + before + typeName(result) + " r = " + text + " out[0] += " + firstPart(result, "r") + "; }\n";
}

std::string entry(const BuiltinFunction& row, const std::string& calls) {
    const bool isFragment = row.family == BuiltinFamily::derivative || row.family == BuiltinFamily::control ||
                            row.name.ends_with("_is_helper_thread");
    return std::string("#include <metal_stdlib>\nusing namespace metal;\n") + (isFragment ? "fragment" : "kernel") +
           " void f(device float* out [[buffer(0)]], constant float* n [[buffer(1)]], device uint* words "
           "[[buffer(2)]]) "
           "{\n" +
           calls + "}\n";
}

std::vector<TypeRef> admitted(const TypeTable& types, const BuiltinFunction& row) {
    const BuiltinSignature& signature = *row.signature;
    const BuiltinId id = row.id;
    std::vector<TypeRef> found;
    for (const ScalarKind kind : kinds) {
        if (!admitsKind(signature.typeClass, kind)) continue;
        if (signature.typeClass == BuiltinClass::atomic) {
            const bool isWide = id == BuiltinId::atomicMin || id == BuiltinId::atomicMax; // of 64 bits only
            if (isWide ? kind == ScalarKind::ulong : kind == ScalarKind::int_ || kind == ScalarKind::uint)
                found.push_back(types.scalar(kind));
            continue;
        }
        std::vector<TypeRef> shapes = {types.scalar(kind), types.vector(kind, 2), types.vector(kind, 3)};
        if (hasMatrices(kind)) shapes.insert(shapes.end(), {types.matrix(kind, 2, 2), types.matrix(kind, 3, 2)});
        for (const TypeRef shape : shapes)
            if (admitsShape(signature.shape, shape)) found.push_back(shape);
    }
    if (signature.typeClass == BuiltinClass::none) found.push_back(nullptr);
    return found;
}

class EveryRow : public ::testing::Test {
  protected:
    // The module; empty, with a failure, when there is none.
    static std::vector<std::uint32_t> moduleOf(const std::string& source, std::string_view what) {
        const auto compiled = compile(source, {.warnings = CompileOptions::Warnings::ignored});
        if (!compiled) {
            ADD_FAILURE() << what << "\n" << compiled.error().text.substr(0, 600);
            return {};
        }
        EXPECT_EQ(test::problems(compiled->spirv), "") << what;
        return compiled->spirv;
    }

    Arena arena_;
    TypeTable types_{arena_};
};

TEST_F(EveryRow, OfTheFunctionsIsWritten) {
    for (const BuiltinFunction& row : builtinFunctions()) {
        if (row.name.starts_with("__")) continue;
        std::string calls;
        for (const TypeRef type : admitted(types_, row))
            calls += call(types_, row, "", type);
        moduleOf(entry(row, calls), row.name);
    }
}

// Functions whose plain form is as good as the language asks of the precise one: exact by themselves, or made of sums
// and products.
const std::set<std::string_view> plainIsPrecise = {
    "abs",     "ceil",     "copysign", "cross", "degrees", "distance_squared", "dot",     "fabs",  "faceforward",
    "floor",   "fmedian3", "frexp",    "ilogb", "ldexp",   "length_squared",   "median3", "mix",   "modf",
    "radians", "reflect",  "refract",  "rint",  "round",   "smoothstep",       "step",    "trunc",
};

TEST_F(EveryRow, WithPrecisionsHasAPreciseForm) {
    for (const BuiltinFunction& row : builtinFunctions()) {
        if (!row.hasPrecisions) continue;
        for (const TypeRef type : admitted(types_, row)) {
            if (type->scalar != ScalarKind::float_) continue; // halves compute in float, whose forms these are
            const std::string name = std::string(row.name) + " of " + typeName(type);
            const auto plain = moduleOf(entry(row, call(types_, row, "fast::", type)), name);
            const auto precise = moduleOf(entry(row, call(types_, row, "precise::", type)), name);
            EXPECT_EQ(plain == precise, plainIsPrecise.contains(row.name)) << name;
        }
    }
}

TEST_F(EveryRow, OfTheTextureMethodsIsWritten) {
    constexpr std::string_view accesses[] = {"sample", "read", "write", "read_write"};
    std::set<std::string_view> written;
    for (const std::string_view texture : textureTemplateNames()) {
        const TextureShape shape = *textureShapeNamed(texture);
        const TextureTraits traits = textureTraits(shape);
        for (unsigned access = 0; access < 4; ++access) {
            if (traits.isMultisample && access != 1) continue;
            if (shape == TextureShape::buffer && access == 0) continue;
            if (traits.isDepth && access > 1) continue;
            for (const ScalarKind kind : {ScalarKind::float_, ScalarKind::half, ScalarKind::int_, ScalarKind::uint}) {
                if (traits.isDepth && kind != ScalarKind::float_) continue;
                const TypeRef type = types_.texture(shape, kind, static_cast<TextureAccess>(access));
                std::string calls;
                for (const TextureMethod& method : textureMethods()) {
                    if (!whyNot(method.need, type).empty()) continue;
                    written.insert(method.name);
                    std::string found;
                    std::string arguments;
                    for (const auto& [slot, name] : method.parameters) {
                        if (!hasSlot(shape, slot) || isOptional(slot)) continue;
                        arguments += arguments.empty() ? "" : ", ";
                        if (slot == TextureSlot::sampler) {
                            arguments += "s";
                            continue;
                        }
                        const TypeRef wanted = slotType(types_, slot, type);
                        if (wanted->is(TypeKind::pointer)) { // what was found is given back through it
                            found = typeName(wanted->element) + " found = " + typeName(wanted->element) + "(n[0]); ";
                            arguments += "&found";
                        } else {
                            arguments += typeName(wanted) + "(n[0])";
                        }
                    }
                    const TypeRef result = slotType(types_, method.result, type);
                    const std::string text = "t." + std::string(method.name) + "(" + arguments + ");";
                    calls += result->is(TypeKind::void_)
                                 ? text + "\n"
                                 : "{ " + found + "auto r = " + text + " out += " + firstPart(result, "r") + "; }\n";
                }
                moduleOf("#include <metal_stdlib>\nusing namespace metal;\n" +
                             std::string(access == 3 ? "kernel void" : "fragment float4") + " f(" +
                             std::string(texture) + "<" + std::string(scalarName(kind)) +
                             ", access::" + std::string(accesses[access]) +
                             "> t [[texture(0)]], sampler s [[sampler(0)]], constant float* n [[buffer(0)]], device "
                             "float* sum [[buffer(1)]]) {\n"
                             "float out = 0;\n" +
                             calls + (access == 3 ? "*sum = out;\n}\n" : "return out;\n}\n"),
                         texture);
            }
        }
    }
    for (const TextureMethod& method : textureMethods())
        EXPECT_TRUE(written.contains(method.name)) << method.name;
}

} // namespace
} // namespace msl
