// initializer_list: a list in braces as an object, which is an array of the thread and how long it is.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

// The library's template; null in a text that does not name it.
StructDecl* Analyzer::listTemplate() const {
    for (Decl* decl : unit_.library)
        if (decl->kind == DeclKind::struct_) return static_cast<StructDecl*>(decl);
    return nullptr;
}

// What an initializer_list is one of; null when the type is none.
TypeRef Analyzer::listElement(TypeRef type) const {
    if (unit_.library.empty() || !type->is(TypeKind::struct_) || type->structDecl->instanceOf != listTemplate() ||
        type->structDecl->fields.empty())
        return nullptr;
    return type->structDecl->fields[0]->type->element;
}

// Whether this is "initializer_list<T>", of the library.
bool Analyzer::isListName(const Name& name) const {
    return !unit_.library.empty() && name.identifier && !name.identifier->scope &&
           name.identifier->text == "initializer_list" && name.templateArguments.size() == 1;
}

// "initializer_list<T>"
TypeRef Analyzer::listType(Name& name) {
    const TypeRef element =
        name.templateArguments.size() == 1 ? templateArgumentType(name.templateArguments[0], true) : nullptr;
    if (!element || element->isError()) {
        if (!element)
            error(name.location, std::string(name.templateArguments.empty() ? "too few" : "too many") +
                                     " template arguments for class template 'initializer_list'");
        return types_.error();
    }
    if (element->is(TypeKind::void_) || element->is(TypeKind::reference)) {
        error(name.location, "an 'initializer_list' has no elements of type '" + typeName(element) + "'");
        return types_.error();
    }
    if (!requireComplete(element, name.location, "'initializer_list' has")) return types_.error();
    return instantiateStructure(listTemplate(), name);
}

// How well the items of a list become elements; as well as the worst of them.
ConversionRank Analyzer::rankList(InitList* list, TypeRef element) {
    ConversionRank worst = ConversionRank::exact;
    for (Initializer& item : list->initializers) {
        if (!limit_.step() || item.designator || item.indexDesignator) return ConversionRank::none;
        if (item.value->kind != ExprKind::initList) item.value = expression(item.value);
        worst = std::max(worst, rankConversion(item.value, element));
    }
    return worst;
}

Expr* Analyzer::listValue(TypeRef type, InitList* list, SourceLocation at) {
    const TypeRef element = listElement(type);
    const std::span<Initializer> items = list->initializers;
    if (items.size() == 1 && items[0].value->kind != ExprKind::initList) {
        items[0].value = expression(items[0].value);
        if (items[0].value->type == type) return load(items[0].value);
    }
    InitCursor cursor{items};
    const TypeRef array = types_.array(element, std::max<std::size_t>(items.size(), 1));
    Expr* elements = initializeAggregate(array, cursor, true, at);
    if (elements->type->isError()) return elements;
    Construct* made = arena_.make<Construct>();
    made->location = made->begin = at;
    made->type = type;
    made->constructKind = ConstructKind::aggregate;
    Expr* parts[] = {makeCast(CastKind::arrayToPointer, elements, type->structDecl->fields[0]->type),
                     makeInteger(static_cast<std::int64_t>(items.size()), types_.uint(), at)};
    made->arguments = arena_.copy(std::span<Expr* const>(parts));
    return made;
}

// A class that is made of a list in braces by a constructor for such lists; null when it has none that takes it.
Expr* Analyzer::constructFromList(TypeRef type, InitList* list, SourceLocation at) {
    if (unit_.library.empty()) return nullptr;
    bool takesLists = false;
    for (const FunctionDecl* constructor : constructorsOf(type->structDecl)) {
        if (constructor->parameters.empty() || !constructor->templateParameters.empty()) continue;
        if (constructor->parameters.size() > 1 && !constructor->parameters[1]->initializer) continue;
        TypeRef parameter = constructor->parameters[0]->type;
        if (parameter && parameter->is(TypeKind::reference)) parameter = parameter->element;
        const TypeRef element = parameter ? listElement(parameter) : nullptr;
        takesLists = takesLists || (element && rankList(list, element) != ConversionRank::none);
    }
    if (!takesLists) return nullptr;
    Expr* only[] = {list};
    return callConstructor(type, arena_.copy(std::span<Expr* const>(only)), false, nullptr, at);
}

} // namespace msl
