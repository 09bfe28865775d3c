// Textures and samplers: the methods of textures, the options of a sample, the settings of a constexpr sampler.
#include "MSL/sema/Analyzer.h"

#include "MSL/Reflection.h"
#include "MSL/builtins/TextureMethods.h"
#include "MSL/sema/LibraryConstants.h"

#include <algorithm>

namespace msl {
namespace {

bool namesSampler(const Expr* callee) {
    if (callee->kind != ExprKind::nameRef) return false;
    const Identifier* name = static_cast<const NameRef*>(callee)->name.identifier;
    return name != nullptr && name->text == "sampler";
}

bool isOption(const Expr* expr) {
    return expr->kind == ExprKind::call &&
           builtinFamily(static_cast<const Call*>(expr)->builtin) == BuiltinFamily::sampleOption;
}

} // namespace

Expr* Analyzer::sampleOption(Call* expr, std::string_view name, bool* handled) {
    const auto* callee = static_cast<NameRef*>(expr->callee);
    if (callee->name.identifier->scope || (!metalIsVisible_ && callee->name.qualifiers.empty())) return nullptr;
    for (const SampleOption& option : sampleOptions()) {
        if (option.name != name) continue;
        *handled = true;
        if (!arguments(expr)) return errorAt(expr);
        if (expr->arguments.size() != option.count) {
            error(callee->location, "no matching constructor for initialization of '" + std::string(name) + "'");
            return errorAt(expr);
        }
        for (Expr*& argument : expr->arguments) {
            argument = convert(argument, types_.vector(ScalarKind::float_, option.dimensions), Purpose::parameter,
                               argument->begin ? argument->begin : argument->location);
            if (argument->type->isError()) return errorAt(expr);
        }
        expr->builtin = option.id;
        expr->type = types_.void_(); // a value of its own kind, for a texture's method only
        return expr;
    }
    return nullptr;
}

// is_null_texture(t), is_null_sampler(s): a draw that lacks an argument does not happen here, so it is never null.
Expr* Analyzer::nullTest(Call* expr, const Name& name, bool* handled) {
    const std::string_view text = name.identifier->text;
    if ((text != "is_null_texture" && text != "is_null_sampler") || name.identifier->scope || !metalIsVisible_)
        return nullptr;
    *handled = true;
    if (!arguments(expr)) return errorAt(expr);
    const TypeKind wanted = text == "is_null_texture" ? TypeKind::texture : TypeKind::sampler;
    if (expr->arguments.size() != 1 || !expr->arguments[0]->type->is(wanted)) {
        error(name.location, "no matching function for call to '" + std::string(text) + "'");
        return errorAt(expr);
    }
    auto* result = arena_.make<BoolLiteral>();
    result->location = expr->location;
    result->value = false;
    result->type = types_.bool_();
    return result;
}

Expr* Analyzer::textureMethod(Call* expr, Member* callee) {
    const std::string name(callee->name.identifier->text);
    Expr* object = callee->base;
    TypeRef texture = object->type;
    if (callee->isArrow && texture->is(TypeKind::pointer)) texture = texture->element;

    // Options are calls of void type: check the arguments here, where they may stand.
    bool fine = true;
    expr->arguments = expandPacks(expr->arguments);
    for (Expr*& argument : expr->arguments) {
        if (argument->kind == ExprKind::initList && !argument->type) continue;
        argument = expression(argument);
        if (argument->type->is(TypeKind::overload) || (argument->type->is(TypeKind::void_) && !isOption(argument))) {
            error(argument->begin ? argument->begin : argument->location, "argument of '" + name + "' is not a value");
            argument = errorAt(argument);
        }
        fine = fine && !argument->type->isError();
    }
    if (!fine) return errorAt(expr);
    const std::span<Expr*> given = expr->arguments;
    std::vector<Expr*> converted;
    std::size_t next = 0;
    const auto fail = [&](std::string why) {
        error(callee->location, "no matching member function for call to '" + name + "'");
        note(callee->location, "in '" + typeName(texture) + "': " + why);
        return errorAt(expr);
    };
    // Takes the next argument as one of the type; false when it does not fit or is missing.
    std::string problem;
    const auto take = [&](TypeRef type, std::string_view what) {
        if (next >= given.size()) {
            problem = "the " + std::string(what) + " is missing";
            return false;
        }
        Expr* argument = given[next];
        if (isOption(argument) || rankConversion(argument, type) == ConversionRank::none) {
            problem = "the " + std::string(what) + " must be of type '" + typeName(type) + "'" +
                      (argument->kind == ExprKind::initList || isOption(argument)
                           ? std::string()
                           : ", not '" + typeName(argument->type) + "'");
            return false;
        }
        converted.push_back(
            convert(argument, type, Purpose::parameter, argument->begin ? argument->begin : argument->location));
        ++next;
        return !converted.back()->type->isError();
    };
    const auto finish = [&](BuiltinId id, TypeRef type) -> Expr* {
        if (next < given.size())
            return fail("it takes " + std::to_string(next) + " arguments, but " + std::to_string(given.size()) +
                        " were provided");
        expr->arguments = arena_.copy(converted);
        expr->object = object;
        expr->objectIsPointer = callee->isArrow;
        expr->builtin = id;
        expr->type = type;
        return expr;
    };

    const TextureMethod* method = findTextureMethod(name);
    if (method == nullptr) {
        std::vector<std::string_view> names;
        for (const TextureMethod& known : textureMethods())
            names.push_back(known.name);
        errorOfName(callee->location, "no member named '" + name + "' in '" + typeName(texture) + "'", name,
                    closestOf(name, names));
        return errorAt(expr);
    }
    if (const std::string_view reason = whyNot(method->need, texture); !reason.empty())
        return fail(std::string(reason));
    const bool takesComponent = std::ranges::any_of(
        method->parameters, [](const TextureParameter& parameter) { return parameter.slot == TextureSlot::component; });
    for (const auto& [slot, parameterName] : method->parameters) {
        if (!hasSlot(texture->textureShape, slot)) continue;
        const bool isGiven = next < given.size();
        const bool isOptionNext = isGiven && isOption(given[next]);
        if (slot == TextureSlot::options) {
            while (next < given.size() && isOption(given[next]))
                converted.push_back(given[next++]);
            continue;
        }
        if (isOptional(slot) && (!isGiven || isOptionNext)) continue;
        const TypeRef type = slotType(types_, slot, texture);
        if (slot == TextureSlot::offset && (rankConversion(given[next], type) == ConversionRank::none ||
                                            (takesComponent && given[next]->kind == ExprKind::intLiteral)))
            continue;
        // ushort coordinates serve as well as uint ones
        if (slot == TextureSlot::texel && isGiven && given[next]->kind != ExprKind::initList &&
            given[next]->type == types_.withScalar(type, ScalarKind::ushort)) {
            converted.push_back(explicitConvert(given[next++], type));
            continue;
        }
        if (!take(type, slotPhrase(slot))) return fail(problem);
    }
    if (next < given.size() && isOption(given[next])) return fail(name + " takes no level of detail");
    return finish(method->id, slotType(types_, method->result, texture));
}

// "sampler(filter::linear)" where a value is wanted: a constant sampler without a name.
Expr* Analyzer::samplerValue(Expr* expr, std::span<Expr*> settings) {
    if (settings.size() == 1 && settings[0]->kind == ExprKind::nameRef &&
        static_cast<NameRef*>(settings[0])->name.qualifiers.empty()) // a copy of a sampler
        return convert(expression(settings[0]), types_.sampler(), Purpose::variable, expr->location);
    auto* made = arena_.make<VarDecl>();
    made->name = identifiers_.get("sampler");
    made->location = expr->begin ? expr->begin : expr->location;
    made->varKind = VarKind::global;
    made->type = types_.sampler();
    made->space = AddressSpace::constant;
    made->isConst = made->isConstexpr = made->isParenInit = true;
    made->parenArguments = settings;
    const unsigned before = diagnostics_.errorCount();
    samplerVariable(made);
    made->parenArguments = {};
    if (diagnostics_.errorCount() != before) return errorAt(expr);
    auto* ref = make<NameRef>(expr);
    ref->name.identifier = made->name;
    return variableReference(ref, made);
}

// constexpr sampler s(filter::linear, address::clamp_to_edge, ...)
void Analyzer::samplerVariable(VarDecl* var) {
    SamplerState* state = arena_.make<SamplerState>();
    var->samplerState = state;
    std::vector<Expr*> settings;
    if (var->isParenInit)
        settings.assign(var->parenArguments.begin(), var->parenArguments.end());
    else if (var->initializer && var->initializer->kind == ExprKind::initList)
        for (const Initializer& item : static_cast<InitList*>(var->initializer)->initializers)
            settings.push_back(item.value);
    else if (var->initializer && var->initializer->kind == ExprKind::construct)
        settings.assign(static_cast<Construct*>(var->initializer)->arguments.begin(),
                        static_cast<Construct*>(var->initializer)->arguments.end());
    else if (var->initializer && var->initializer->kind == ExprKind::cast) // sampler(filter::linear)
        settings.push_back(static_cast<Cast*>(var->initializer)->operand);
    else if (var->initializer && var->initializer->kind == ExprKind::call &&
             namesSampler(static_cast<Call*>(var->initializer)->callee))
        settings.assign(static_cast<Call*>(var->initializer)->arguments.begin(),
                        static_cast<Call*>(var->initializer)->arguments.end());
    else if (var->initializer) { // a copy of another sampler
        var->samplerState = nullptr;
        var->initializer = initialize(var->type, var->initializer, Purpose::variable, var->location);
        return;
    }
    if (!var->isConstexpr && !var->isConst && var->varKind != VarKind::global) {
        error(var->location, "a sampler that is made in the text must be declared constexpr");
        var->isInvalid = true;
    }
    var->initializer = nullptr;
    var->isParenInit = false;
    for (Expr* setting : settings) {
        const SourceLocation at = setting->begin ? setting->begin : setting->location;
        if (setting->kind == ExprKind::call && static_cast<Call*>(setting)->callee->kind == ExprKind::nameRef) {
            auto* call = static_cast<Call*>(setting);
            const auto* callee = static_cast<NameRef*>(call->callee);
            const std::string_view name = callee->name.identifier ? callee->name.identifier->text : std::string_view();
            std::vector<double> numbers;
            for (Expr*& argument : call->arguments) {
                argument = load(expression(argument));
                if (const ConstantValue value = evaluate(argument))
                    numbers.push_back(value->asDouble());
                else if (!argument->type->isError())
                    error(at, "the setting of a constexpr sampler must be a constant");
            }
            if (numbers.size() != call->arguments.size()) continue;
            if (name == "max_anisotropy" && numbers.size() == 1) {
                state->maxAnisotropy = numbers[0] < 1    ? 1U
                                       : numbers[0] > 16 ? 16U
                                                         : static_cast<std::uint32_t>(numbers[0]);
                continue;
            }
            if (name == "lod_clamp" && numbers.size() == 2) {
                state->lodMin = static_cast<float>(numbers[0]);
                state->lodMax = static_cast<float>(numbers[1]);
                continue;
            }
            error(at, "unknown setting of a constexpr sampler");
            continue;
        }
        const NameRef* ref = setting->kind == ExprKind::nameRef ? static_cast<NameRef*>(setting) : nullptr;
        const std::string_view kind =
            ref && !ref->name.qualifiers.empty() ? ref->name.qualifiers.back()->text : std::string_view();
        const LibraryConstant* constant = ref && ref->name.identifier && !kind.empty()
                                              ? findLibraryConstant(kind, ref->name.identifier->text)
                                              : nullptr;
        if (!constant) {
            if (ref && ref->name.identifier && isLibraryEnum(kind))
                error(ref->location, "no member named '" + std::string(ref->name.identifier->text) + "' in '" +
                                         std::string(kind) + "'");
            else
                error(at, "unknown setting of a constexpr sampler");
            var->isInvalid = true;
            continue;
        }
        const auto value = static_cast<std::uint8_t>(constant->value);
        if (kind == "filter") {
            state->magFilter = state->minFilter = static_cast<SamplerState::Filter>(value);
        } else if (kind == "mag_filter") {
            state->magFilter = static_cast<SamplerState::Filter>(value);
        } else if (kind == "min_filter") {
            state->minFilter = static_cast<SamplerState::Filter>(value);
        } else if (kind == "mip_filter") {
            state->mipFilter = static_cast<SamplerState::MipFilter>(value);
        } else if (kind == "address") {
            state->address.fill(static_cast<SamplerState::Address>(value));
        } else if (kind == "s_address") {
            state->address[0] = static_cast<SamplerState::Address>(value);
        } else if (kind == "t_address") {
            state->address[1] = static_cast<SamplerState::Address>(value);
        } else if (kind == "r_address") {
            state->address[2] = static_cast<SamplerState::Address>(value);
        } else if (kind == "border_color") {
            state->border = static_cast<SamplerState::Border>(value);
        } else if (kind == "compare_func") {
            state->compare = static_cast<SamplerState::Compare>(value);
            state->compares = true;
        } else if (kind == "coord") {
            state->normalizedCoordinates = value != 0;
        } else {
            error(at, "unknown setting of a constexpr sampler");
            var->isInvalid = true;
        }
    }
}

} // namespace msl
