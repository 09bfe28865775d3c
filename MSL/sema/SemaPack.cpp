// Parameter packs. While an instance is being resolved, a pack's name means a list of declarations (types, values or
// parameters); "pattern..." is resolved once for each of them, with the name bound to that one.
#include "MSL/ast/Clone.h"
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

PackDecl* Analyzer::packNamed(const Identifier* name) const {
    return name && name->scope && name->scope->decl->kind == DeclKind::pack ? static_cast<PackDecl*>(name->scope->decl)
                                                                            : nullptr;
}

bool Analyzer::expandPattern(std::span<const Identifier* const> names, SourceLocation at, std::vector<PackDecl*>& packs,
                             std::size_t& count) {
    for (const Identifier* name : names) {
        PackDecl* pack = packNamed(name);
        if (!pack || std::ranges::find(packs, pack) != packs.end()) continue;
        if (!packs.empty() && pack->elements.size() != count) {
            error(at, "pack expansion contains parameter packs that have different lengths (" + std::to_string(count) +
                          " vs. " + std::to_string(pack->elements.size()) + ")");
            return false;
        }
        count = pack->elements.size();
        packs.push_back(pack);
    }
    if (!packs.empty()) return true;
    error(at, "pack expansion does not contain any unexpanded parameter packs");
    return false;
}

void Analyzer::openElement(std::span<PackDecl* const> packs, std::size_t index) {
    scopes_.open();
    for (const PackDecl* pack : packs)
        scopes_.add(pack->name, pack->elements[index]);
}

std::span<Expr*> Analyzer::expandPacks(std::span<Expr*> list) {
    const auto isExpansion = [](const Expr* expr) { return expr->kind == ExprKind::packExpansion && !expr->type; };
    if (std::ranges::none_of(list, isExpansion)) return list;
    std::vector<Expr*> all;
    for (Expr* expr : list) {
        if (!isExpansion(expr)) {
            all.push_back(expr);
            continue;
        }
        const Expr* pattern = static_cast<PackExpansion*>(expr)->pattern;
        std::vector<const Identifier*> names;
        namesIn(arena_, pattern, names);
        std::vector<PackDecl*> packs;
        std::size_t count = 0;
        if (!expandPattern(names, expr->location, packs, count)) {
            all.push_back(errorAt(expr));
            continue;
        }
        for (std::size_t i = 0; i < count && limit_.step(); ++i) {
            openElement(packs, i);
            all.push_back(expression(clone(arena_, pattern)));
            scopes_.close();
        }
    }
    return arena_.copy(all);
}

// "(f(xs) + ...)": the operations between the elements, from the left or from the right.
Expr* Analyzer::fold(Fold* expr) {
    constexpr std::size_t mostElements = 256; // each is a level of the tree
    const auto hasPack = [&](const Expr* side) {
        std::vector<const Identifier*> names;
        if (side) namesIn(arena_, side, names);
        return std::ranges::any_of(names, [&](const Identifier* name) { return packNamed(name) != nullptr; });
    };
    if (!expr->isParenthesized) {
        error(expr->location, "a fold expression stands in parentheses");
        return errorAt(expr);
    }
    const bool isFromRight = expr->left && (!expr->right || hasPack(expr->left));
    Expr* pattern = isFromRight ? expr->left : expr->right;
    Expr* first = isFromRight ? expr->right : expr->left;
    auto* expansion = arena_.make<PackExpansion>();
    expansion->location = expansion->begin = expr->location;
    expansion->pattern = pattern;
    Expr* only[] = {expansion};
    const std::span<Expr*> elements = expandPacks(std::span<Expr*>(only));
    if (elements.size() > mostElements) {
        error(expr->location, "a fold expression of more than " + std::to_string(mostElements) + " elements");
        return errorAt(expr);
    }
    Expr* result = first;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        Expr* element = elements[isFromRight ? elements.size() - 1 - i : i];
        if (!result) {
            result = element;
            continue;
        }
        auto* both = arena_.make<Binary>();
        both->location = expr->location;
        both->begin = expr->begin;
        both->op = expr->op;
        both->left = isFromRight ? element : result;
        both->right = isFromRight ? result : element;
        result = both;
    }
    if (result) return expression(result);
    if (expr->op == BinaryOp::logicalAnd || expr->op == BinaryOp::logicalOr) {
        auto* none = arena_.make<BoolLiteral>();
        none->location = none->begin = expr->location;
        none->value = expr->op == BinaryOp::logicalAnd;
        return expression(none);
    }
    error(expr->location, "a fold expression of an empty pack has no value");
    return errorAt(expr);
}

void Analyzer::expandPacks(InitList* list) {
    std::vector<Expr*> values;
    bool hasExpansion = false;
    for (const Initializer& item : list->initializers)
        hasExpansion = hasExpansion || (item.value->kind == ExprKind::packExpansion && !item.value->type);
    if (!hasExpansion) return;
    std::vector<Initializer> items;
    for (const Initializer& item : list->initializers) {
        Expr* only[] = {item.value};
        for (Expr* value : expandPacks(std::span<Expr*>(only))) {
            items.push_back(item);
            items.back().value = value;
        }
    }
    list->initializers = arena_.copy(items);
}

std::span<TemplateArgument> Analyzer::expandPacks(std::span<TemplateArgument> list) {
    if (std::ranges::none_of(list, [](const TemplateArgument& argument) { return argument.isExpansion; })) return list;
    std::vector<TemplateArgument> all;
    for (const TemplateArgument& argument : list) {
        if (!argument.isExpansion) {
            all.push_back(argument);
            continue;
        }
        std::vector<const Identifier*> names;
        SourceLocation at;
        if (argument.typeSyntax) {
            namesIn(arena_, argument.typeSyntax, names);
            at = argument.typeSyntax->location;
        } else if (argument.expression) {
            namesIn(arena_, argument.expression, names);
            at = argument.expression->location;
        }
        std::vector<PackDecl*> packs;
        std::size_t count = 0;
        if (!expandPattern(names, at, packs, count)) continue;
        for (std::size_t i = 0; i < count && limit_.step(); ++i) {
            TemplateArgument element;
            element.typeSyntax = clone(arena_, argument.typeSyntax);
            element.expression = clone(arena_, argument.expression);
            openElement(packs, i);
            if (!templateArgumentType(element, false)) templateArgumentValue(element, at);
            scopes_.close();
            if (element.resolvedType) element.typeSyntax = nullptr;
            all.push_back(element);
        }
    }
    return arena_.copy(all);
}

// The parameter "Rest... rest" of an instance becomes as many parameters as Rest has types.
void Analyzer::expandParameters(FunctionDecl* instance, std::span<TemplateParameterDecl*> parameters,
                                std::span<TemplateArgument> arguments) {
    if (instance->parameters.empty() || !instance->parameters.back()->isPack) return;
    VarDecl* pattern = instance->parameters.back();
    instance->packName = pattern->name;
    std::vector<VarDecl*> all(instance->parameters.begin(), instance->parameters.end() - 1);
    scopes_.open();
    pushBindings(parameters, arguments);
    std::vector<const Identifier*> names;
    namesIn(arena_, pattern->typeSyntax, names);
    std::vector<PackDecl*> packs;
    std::size_t count = 0;
    if (expandPattern(names, pattern->location, packs, count))
        for (std::size_t i = 0; i < count && limit_.step(); ++i) {
            VarDecl* element = arena_.make<VarDecl>(*pattern);
            element->typeSyntax = clone(arena_, pattern->typeSyntax);
            openElement(packs, i);
            TypeSyntax base = *element->typeSyntax;
            base.modifiers = {};
            element->typeSyntax->fixed = resolveTypeOnly(&base);
            scopes_.close();
            all.push_back(element);
        }
    scopes_.close();
    instance->parameters = arena_.copy(all);
}

} // namespace msl
