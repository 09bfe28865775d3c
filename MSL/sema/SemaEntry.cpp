// Attributes, and what a vertex, fragment or kernel function may take and give.
#include "MSL/sema/Analyzer.h"
#include "MSL/sema/AttributeTable.h"

#include <algorithm>

namespace msl {
namespace {

const Attribute* find(const Decl* decl, std::string_view name) {
    for (const Attribute& attribute : decl->attributes)
        if (attribute.name && attribute.name->text == name) return &attribute;
    return nullptr;
}

std::string_view stageName(EntryStage stage) {
    switch (stage) {
    case EntryStage::vertex: return "vertex";
    case EntryStage::fragment: return "fragment";
    case EntryStage::kernel: return "kernel";
    case EntryStage::none: break;
    }
    return "plain";
}

// Values of the system that a parameter can ask for, and what its type must be.
struct SystemInput {
    std::string_view name;
    bool vertex, fragment, kernel;
    enum class Shape : std::uint8_t { uintScalar, uintAny, float2, float4, boolean, floatAny } shape;
};
using Shape = SystemInput::Shape;
constexpr SystemInput systemInputs[] = {
    {"vertex_id", true, false, false, Shape::uintScalar},
    {"instance_id", true, false, false, Shape::uintScalar},
    {"base_vertex", true, false, false, Shape::uintScalar},
    {"base_instance", true, false, false, Shape::uintScalar},
    {"amplification_count", true, false, false, Shape::uintScalar},
    {"amplification_id", true, true, false, Shape::uintScalar},
    {"position", false, true, false, Shape::float4},
    {"point_coord", false, true, false, Shape::float2},
    {"front_facing", false, true, false, Shape::boolean},
    {"primitive_id", false, true, false, Shape::uintScalar},
    {"sample_id", false, true, false, Shape::uintScalar},
    {"sample_mask", false, true, false, Shape::uintScalar},
    {"barycentric_coord", false, true, false, Shape::floatAny},
    {"render_target_array_index", false, true, false, Shape::uintScalar},
    {"viewport_array_index", false, true, false, Shape::uintScalar},
    {"thread_position_in_grid", false, false, true, Shape::uintAny},
    {"thread_position_in_threadgroup", false, false, true, Shape::uintAny},
    {"thread_index_in_threadgroup", false, false, true, Shape::uintScalar},
    {"thread_index_in_simdgroup", false, true, true, Shape::uintScalar},
    {"thread_index_in_quadgroup", false, true, true, Shape::uintScalar},
    {"threadgroup_position_in_grid", false, false, true, Shape::uintAny},
    {"threadgroups_per_grid", false, false, true, Shape::uintAny},
    {"threads_per_grid", false, false, true, Shape::uintAny},
    {"threads_per_threadgroup", false, false, true, Shape::uintAny},
    {"dispatch_threads_per_threadgroup", false, false, true, Shape::uintAny},
    {"threads_per_simdgroup", false, true, true, Shape::uintScalar},
    {"dispatch_simdgroups_per_threadgroup", false, false, true, Shape::uintScalar},
    {"dispatch_quadgroups_per_threadgroup", false, false, true, Shape::uintScalar},
    {"quadgroup_index_in_threadgroup", false, false, true, Shape::uintScalar},
    {"quadgroups_per_threadgroup", false, false, true, Shape::uintScalar},
    {"thread_execution_width", false, false, true, Shape::uintScalar},
    {"simdgroup_index_in_threadgroup", false, false, true, Shape::uintScalar},
    {"simdgroups_per_threadgroup", false, false, true, Shape::uintScalar},
    {"grid_size", false, false, true, Shape::uintAny},
    {"grid_origin", false, false, true, Shape::uintAny},
};

bool isRefused(std::string_view name) {
    const KnownAttribute* known = findAttribute(name);
    return known && known->use == AttributeUse::refused;
}

bool hasShape(TypeRef type, Shape shape) {
    const bool isUnsigned = type->scalar == ScalarKind::uint || type->scalar == ScalarKind::ushort;
    switch (shape) {
    case Shape::uintScalar: return type->isScalar() && isUnsigned;
    case Shape::uintAny: return (type->isScalar() || (type->isVector() && type->columns <= 3)) && isUnsigned;
    case Shape::float2: return type->isVector() && type->columns == 2 && type->scalar == ScalarKind::float_;
    case Shape::float4: return type->isVector() && type->columns == 4 && type->scalar == ScalarKind::float_;
    case Shape::boolean: return type->isBool();
    case Shape::floatAny: return (type->isScalar() || type->isVector()) && type->scalar == ScalarKind::float_;
    }
    return false;
}

std::string_view shapeName(Shape shape) {
    switch (shape) {
    case Shape::uintScalar: return "uint or ushort";
    case Shape::uintAny: return "uint, uint2 or uint3 (or ushort, ushort2, ushort3)";
    case Shape::float2: return "float2";
    case Shape::float4: return "float4";
    case Shape::boolean: return "bool";
    case Shape::floatAny: return "float, float2 or float3";
    }
    return "";
}

} // namespace

void Analyzer::checkAttributes(Decl* decl) {
    bool isLaidOut = false;
    for (Attribute& attribute : decl->attributes) {
        if (layoutAttribute(attribute) != LayoutAttribute::none) {
            isLaidOut = true;
            continue;
        }
        if (!attribute.name || attribute.scope) continue;
        std::string_view name = attribute.name->text;
        if (attribute.isGnu && name.size() > 4 && name.starts_with("__") && name.ends_with("__"))
            name = name.substr(2, name.size() - 4);
        const KnownAttribute* found = findAttribute(name);
        if (!found) {
            warning(attribute.location, "unknown attribute '" + std::string(attribute.name->text) + "' ignored",
                    WarningGroup::unknownAttributes);
            continue;
        }
        // On an argument: the constant that says whether the argument is there. Here it always is.
        if (name == "function_constant" &&
            (decl->kind != DeclKind::variable || static_cast<VarDecl*>(decl)->varKind != VarKind::global))
            continue;
        if (found->use != AttributeUse::index) continue;
        if (attribute.arguments.size() != 1) {
            error(attribute.location, "'" + std::string(name) + "' attribute takes one argument");
            decl->isInvalid = true;
            continue;
        }
        Expr*& argument = attribute.arguments[0];
        const std::optional<std::int64_t> value =
            integerConstant(argument, "'" + std::string(name) + "' attribute argument");
        if (!value) {
            decl->isInvalid = true;
            continue;
        }
        if (*value < 0 || *value >= found->limit) {
            error(argument->begin ? argument->begin : attribute.location,
                  "'" + std::string(name) + "' attribute parameter is out of bounds: must be between 0 and " +
                      std::to_string(found->limit - 1));
            decl->isInvalid = true;
            continue;
        }
        argument = makeInteger(*value, types_.int_(), argument->location);
    }
    const bool isField = decl->kind == DeclKind::variable && static_cast<VarDecl*>(decl)->varKind == VarKind::field;
    if (isLaidOut && !isField) checkLayoutAttributes(decl);
}

void Analyzer::entryPoint(FunctionDecl* function) {
    const std::string stage(stageName(function->stage));
    const auto wrong = [&](SourceLocation at, std::string message) {
        error(at, std::move(message));
        function->isInvalid = true;
    };
    if (function->owner || !function->templateParameters.empty() || (function->instanceOf && !function->isEntry)) {
        unsupported(function->location, "a " + stage + " function that is a member or a template");
        function->isInvalid = true;
        return;
    }
    const auto refused = [&](const Decl* decl) {
        for (const Attribute& attribute : decl->attributes)
            if (attribute.name && !attribute.scope && isRefused(attribute.name->text)) {
                unsupported(attribute.location, "'" + std::string(attribute.name->text) + "'");
                function->isInvalid = true;
                return true;
            }
        return false;
    };
    if (refused(function)) return;
    const TypeRef result = function->returnType;
    const SourceLocation resultAt =
        function->returnTypeSyntax ? function->returnTypeSyntax->location : function->location;
    if (function->stage == EntryStage::kernel) {
        if (!result->is(TypeKind::void_) && !result->isError())
            wrong(resultAt, "kernel function must have void return type, not '" + typeName(result) + "'");
    } else if (!result->is(TypeKind::void_) && !result->isError()) {
        const bool isPlain = result->isScalar() || result->isVector();
        const bool isPosition = result == types_.vector(ScalarKind::float_, 4);
        if (result->is(TypeKind::struct_)) {
            bool hasPosition = false;
            for (const VarDecl* member : result->structDecl->fields) {
                refused(member);
                hasPosition = hasPosition || find(member, "position");
                if (!member->type->isScalar() && !member->type->isVector() && !member->type->isError() &&
                    !(find(member, "clip_distance") && member->type->is(TypeKind::array)) &&
                    !member->type->isMatrix() && !member->type->is(TypeKind::array)) {
                    wrong(resultAt, "invalid return type '" + typeName(result) + "' for " + stage + " function");
                    note(member->location, "member '" + std::string(member->name ? member->name->text : "") +
                                               "' of type '" + typeName(member->type) +
                                               "' cannot be passed between stages");
                    break;
                }
                if (find(member, "position") && member->type != types_.vector(ScalarKind::float_, 4))
                    wrong(member->location, "type '" + typeName(member->type) +
                                                "' is not valid for attribute 'position': it must be 'float4'");
            }
            if (function->stage == EntryStage::vertex && !hasPosition)
                wrong(function->location, "vertex function '" + std::string(function->name->text) +
                                              "' must return a member with attribute [[position]]");
        } else if (function->stage == EntryStage::vertex ? !isPosition : !isPlain) {
            wrong(resultAt, "invalid return type '" + typeName(result) + "' for " + stage + " function");
        }
    }

    // Which resource indices are taken; those that the text leaves open are given out in order.
    enum Resource : unsigned { buffers, textures, samplers, threadgroups, resourceKinds };
    static constexpr std::string_view resourceNames[] = {"buffer", "texture", "sampler", "threadgroup"};
    static constexpr unsigned limits[] = {31, 128, 16, 31};
    const VarDecl* taken[resourceKinds][128] = {};
    const auto resourceOf = [](const VarDecl* parameter) -> unsigned {
        TypeRef type = parameter->type;
        if (type->is(TypeKind::array)) type = type->element;
        if (type->is(TypeKind::texture)) return textures;
        if (type->is(TypeKind::sampler)) return samplers;
        if (type->is(TypeKind::pointer) || type->is(TypeKind::reference))
            return type->space == AddressSpace::threadgroup ? threadgroups : buffers;
        return resourceKinds;
    };
    // What the function reads of a colour attachment.
    const auto isAttachment = [&](const VarDecl* declaration) {
        return function->stage == EntryStage::fragment && find(declaration, "color");
    };
    const auto checkAttachment = [&](const VarDecl* declaration, SourceLocation at) {
        const TypeRef type = declaration->type;
        if (type->isError()) return;
        const bool fits =
            (type->isScalar() || type->isVector()) && byteSize(type->scalar) != 1 && byteSize(type->scalar) != 8;
        if (!fits)
            wrong(at, "type '" + typeName(type) +
                          "' is not valid for attribute 'color': it must be a scalar or vector of half, float, short, "
                          "ushort, int or uint");
    };
    // False when no attribute of the declaration is a system value.
    const auto checkSystemInput = [&](const VarDecl* declaration, SourceLocation at) {
        for (const SystemInput& input : systemInputs) {
            const Attribute* attribute = find(declaration, input.name);
            if (!attribute) continue;
            const bool allowed = (function->stage == EntryStage::vertex && input.vertex) ||
                                 (function->stage == EntryStage::fragment && input.fragment) ||
                                 (function->stage == EntryStage::kernel && input.kernel);
            if (isRefused(input.name)) {
                unsupported(attribute->location, "'" + std::string(input.name) + "'");
                function->isInvalid = true;
            } else if (!allowed) {
                wrong(attribute->location,
                      "attribute '" + std::string(input.name) + "' is not allowed in a " + stage + " function");
            } else if (!hasShape(declaration->type, input.shape)) {
                wrong(at, "type '" + typeName(declaration->type) + "' is not valid for attribute '" +
                              std::string(input.name) + "': it must be " + std::string(shapeName(input.shape)));
            }
            return true;
        }
        return false;
    };
    const VarDecl* stageIn = nullptr;
    for (VarDecl* parameter : function->parameters) {
        if (!parameter->type || parameter->type->isError() || parameter->isInvalid) {
            function->isInvalid = true;
            continue;
        }
        const SourceLocation at = parameter->location ? parameter->location : function->location;
        const std::string name(parameter->name ? parameter->name->text : std::string_view("(unnamed)"));
        const unsigned resource = resourceOf(parameter);
        if (parameter->type->is(TypeKind::array) && parameter->type->count == 0) {
            unsupported(at, "an 'array_ref' as a parameter of a " + stage + " function");
            function->isInvalid = true;
            continue;
        }
        if (resource != resourceKinds) {
            if ((resource == buffers) && parameter->type->space == AddressSpace::thread) {
                wrong(at, "invalid address space for parameter '" + name + "' of a " + stage +
                              " function: it must be device or constant");
                continue;
            }
            if (resource == threadgroups && function->stage != EntryStage::kernel) {
                wrong(at, "invalid address space for parameter '" + name + "' of a " + stage +
                              " function: it must be device or constant");
                continue;
            }
            const Attribute* attribute = find(parameter, resourceNames[resource]);
            if (!attribute) continue; // given an index below
            if (attribute->arguments.size() != 1 || attribute->arguments[0]->kind != ExprKind::intLiteral) continue;
            const auto index = static_cast<IntLiteral*>(attribute->arguments[0])->value;
            if (index >= limits[resource]) continue;
            if (const VarDecl* other = taken[resource][index]) {
                wrong(attribute->location, "cannot reserve '" + std::string(resourceNames[resource]) +
                                               "' resource location at index " + std::to_string(index));
                note(other->location, "'" + std::string(other->name ? other->name->text : "") + "' uses it already");
                continue;
            }
            taken[resource][index] = parameter;
            continue;
        }
        if (const Attribute* attribute = find(parameter, "stage_in")) {
            if (!parameter->type->is(TypeKind::struct_))
                wrong(at, "'stage_in' attribute applies to parameters of struct type only");
            else if (stageIn)
                wrong(attribute->location, "a " + stage + " function can have one [[stage_in]] parameter only");
            else if (function->stage == EntryStage::kernel)
                wrong(attribute->location, "[[stage_in]] of a kernel function is not supported here");
            stageIn = parameter;
            if (!parameter->type->is(TypeKind::struct_)) continue;
            for (const VarDecl* member : parameter->type->structDecl->fields)
                if (!refused(member) && isAttachment(member)) checkAttachment(member, member->location);
            continue;
        }
        if (isAttachment(parameter)) {
            checkAttachment(parameter, at);
            continue;
        }
        if (checkSystemInput(parameter, at)) continue;
        // A struct all of whose members say where they come from.
        const bool isStruct = parameter->type->is(TypeKind::struct_) && !parameter->type->structDecl->isUnion;
        const auto saysItself = [&](const VarDecl* member) {
            return isAttachment(member) || std::ranges::any_of(systemInputs, [&](const SystemInput& input) {
                       return find(member, input.name) != nullptr;
                   });
        };
        if (isStruct && !parameter->type->structDecl->fields.empty() &&
            std::ranges::all_of(parameter->type->structDecl->fields, saysItself)) {
            for (const VarDecl* member : parameter->type->structDecl->fields) {
                if (isAttachment(member))
                    checkAttachment(member, member->location);
                else
                    checkSystemInput(member, member->location);
            }
            continue;
        }
        if (find(parameter, "buffer"))
            wrong(at, "'buffer' attribute applies to pointers and references only, not to '" +
                          typeName(parameter->type) + "'");
        else
            wrong(at, "invalid type '" + typeName(parameter->type) + "' for input declaration in a " + stage +
                          " function: parameter '" + name +
                          "' needs an attribute such as [[stage_in]] or be a buffer, texture or sampler");
    }
    for (VarDecl* parameter : function->parameters) {
        if (!parameter->type || parameter->type->isError()) continue;
        const unsigned resource = resourceOf(parameter);
        if (resource == resourceKinds || find(parameter, resourceNames[resource])) continue;
        unsigned index = 0;
        while (index < limits[resource] && taken[resource][index])
            ++index;
        if (index == limits[resource]) {
            wrong(parameter->location, "too many " + std::string(resourceNames[resource]) + " parameters");
            continue;
        }
        taken[resource][index] = parameter;
        const std::span<Attribute> attributes = arena_.makeArray<Attribute>(parameter->attributes.size() + 1);
        std::copy(parameter->attributes.begin(), parameter->attributes.end(), attributes.begin());
        Attribute& made = attributes.back();
        made.name = identifiers_.get(resourceNames[resource]);
        made.location = parameter->location;
        Expr* number[] = {makeInteger(index, types_.int_(), parameter->location)};
        made.arguments = arena_.copy(std::span<Expr* const>(number));
        parameter->attributes = attributes;
    }
}

} // namespace msl
