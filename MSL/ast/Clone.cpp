#include "MSL/ast/Clone.h"

namespace msl {
namespace {

class Cloner {
  public:
    explicit Cloner(Arena& arena, std::vector<const Identifier*>* names = nullptr) : arena_(arena), names_(names) {}

    template <typename T>
    T* copy(const T& node) {
        return arena_.make<T>(node);
    }

    template <typename T>
    std::span<T*> each(std::span<T* const> items) {
        const std::span<T*> made = arena_.makeArray<T*>(items.size());
        for (std::size_t i = 0; i < items.size(); ++i)
            made[i] = node(items[i]);
        return made;
    }
    template <typename T>
    std::span<T*> each(std::span<T*> items) {
        return each(std::span<T* const>(items));
    }

    std::span<TemplateArgument> arguments(std::span<TemplateArgument> items) {
        const std::span<TemplateArgument> made = arena_.makeArray<TemplateArgument>(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            made[i] = items[i];
            made[i].typeSyntax = node(items[i].typeSyntax);
            made[i].expression = node(items[i].expression);
        }
        return made;
    }

    Name name(const Name& from) {
        Name made = from;
        if (names_ && from.identifier) names_->push_back(from.identifier);
        made.qualifierType = node(from.qualifierType);
        made.templateArguments = arguments(from.templateArguments);
        return made;
    }

    std::span<Attribute> attributes(std::span<Attribute> items) {
        const std::span<Attribute> made = arena_.makeArray<Attribute>(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            made[i] = items[i];
            made[i].arguments = each(items[i].arguments);
        }
        return made;
    }

    TypeSyntax* node(const TypeSyntax* from) {
        if (!from) return nullptr;
        TypeSyntax* made = copy(*from);
        made->name = name(from->name);
        if (from->inlineStruct) made->inlineStruct = node(from->inlineStruct);
        if (from->inlineEnum) made->inlineEnum = node(from->inlineEnum);
        made->decltypeOf = node(from->decltypeOf);
        made->modifiers = arena_.makeArray<TypeModifier>(from->modifiers.size());
        for (std::size_t i = 0; i < from->modifiers.size(); ++i) {
            made->modifiers[i] = from->modifiers[i];
            made->modifiers[i].arraySize = node(from->modifiers[i].arraySize);
        }
        made->resolved = nullptr;
        return made;
    }

    // ---- expressions
    Expr* node(const Expr* from) {
        if (!from) return nullptr;
        switch (from->kind) {
        case ExprKind::intLiteral: return copy(*static_cast<const IntLiteral*>(from));
        case ExprKind::floatLiteral: return copy(*static_cast<const FloatLiteral*>(from));
        case ExprKind::boolLiteral: return copy(*static_cast<const BoolLiteral*>(from));
        case ExprKind::stringLiteral: return copy(*static_cast<const StringLiteral*>(from));
        case ExprKind::error: return copy(*static_cast<const ErrorExpr*>(from));
        case ExprKind::nameRef: {
            auto* made = copy(*static_cast<const NameRef*>(from));
            made->name = name(made->name);
            return made;
        }
        case ExprKind::member: {
            auto* made = copy(*static_cast<const Member*>(from));
            made->base = node(made->base);
            made->name = name(made->name);
            return made;
        }
        case ExprKind::index: {
            auto* made = copy(*static_cast<const Index*>(from));
            made->base = node(made->base);
            made->index = node(made->index);
            return made;
        }
        case ExprKind::call: {
            auto* made = copy(*static_cast<const Call*>(from));
            made->callee = node(made->callee);
            made->arguments = each(made->arguments);
            return made;
        }
        case ExprKind::construct: {
            auto* made = copy(*static_cast<const Construct*>(from));
            made->typeSyntax = node(made->typeSyntax);
            made->arguments = each(made->arguments);
            return made;
        }
        case ExprKind::cast: {
            auto* made = copy(*static_cast<const Cast*>(from));
            made->typeSyntax = node(made->typeSyntax);
            made->operand = node(made->operand);
            return made;
        }
        case ExprKind::implicitCast: {
            auto* made = copy(*static_cast<const ImplicitCast*>(from));
            made->operand = node(made->operand);
            return made;
        }
        case ExprKind::unary: {
            auto* made = copy(*static_cast<const Unary*>(from));
            made->operand = node(made->operand);
            return made;
        }
        case ExprKind::binary: {
            auto* made = copy(*static_cast<const Binary*>(from));
            made->left = node(made->left);
            made->right = node(made->right);
            return made;
        }
        case ExprKind::conditional: {
            auto* made = copy(*static_cast<const Conditional*>(from));
            made->condition = node(made->condition);
            made->whenTrue = node(made->whenTrue);
            made->whenFalse = node(made->whenFalse);
            return made;
        }
        case ExprKind::initList: {
            auto* made = copy(*static_cast<const InitList*>(from));
            const std::span<Initializer> items = arena_.makeArray<Initializer>(made->initializers.size());
            for (std::size_t i = 0; i < items.size(); ++i) {
                items[i] = made->initializers[i];
                items[i].indexDesignator = node(items[i].indexDesignator);
                items[i].value = node(items[i].value);
            }
            made->initializers = items;
            return made;
        }
        case ExprKind::sizeOf: {
            auto* made = copy(*static_cast<const SizeOf*>(from));
            made->typeSyntax = node(made->typeSyntax);
            made->operand = node(made->operand);
            if (names_ && made->pack) names_->push_back(made->pack);
            return made;
        }
        case ExprKind::lambda: {
            auto* made = copy(*static_cast<const Lambda*>(from));
            made->captures = arena_.copy(std::span<const Lambda::Capture>(made->captures));
            for (Lambda::Capture& capture : made->captures)
                capture.initializer = node(capture.initializer);
            made->function = node(made->function);
            return made;
        }
        case ExprKind::packExpansion: {
            auto* made = copy(*static_cast<const PackExpansion*>(from));
            made->pattern = node(made->pattern);
            return made;
        }
        case ExprKind::fold: {
            auto* made = copy(*static_cast<const Fold*>(from));
            made->left = node(made->left);
            made->right = node(made->right);
            return made;
        }
        }
        return nullptr;
    }

    // ---- statements
    CompoundStmt* node(const CompoundStmt* from) {
        return static_cast<CompoundStmt*>(node(static_cast<const Stmt*>(from)));
    }

    Stmt* node(const Stmt* from) {
        if (!from) return nullptr;
        switch (from->kind) {
        case StmtKind::compound: {
            auto* made = copy(*static_cast<const CompoundStmt*>(from));
            made->statements = each(made->statements);
            return made;
        }
        case StmtKind::declaration: {
            auto* made = copy(*static_cast<const DeclStmt*>(from));
            made->declarations = each(made->declarations);
            return made;
        }
        case StmtKind::expression: {
            auto* made = copy(*static_cast<const ExprStmt*>(from));
            made->expression = node(made->expression);
            return made;
        }
        case StmtKind::if_: {
            auto* made = copy(*static_cast<const IfStmt*>(from));
            made->init = node(made->init);
            made->condition = node(made->condition);
            made->thenBranch = node(made->thenBranch);
            made->elseBranch = node(made->elseBranch);
            return made;
        }
        case StmtKind::for_: {
            auto* made = copy(*static_cast<const ForStmt*>(from));
            made->init = node(made->init);
            made->condition = node(made->condition);
            made->step = node(made->step);
            made->body = node(made->body);
            return made;
        }
        case StmtKind::rangeFor: {
            auto* made = copy(*static_cast<const RangeForStmt*>(from));
            made->variable = node(made->variable);
            made->range = node(made->range);
            made->body = node(made->body);
            return made;
        }
        case StmtKind::while_: {
            auto* made = copy(*static_cast<const WhileStmt*>(from));
            made->condition = node(made->condition);
            made->body = node(made->body);
            return made;
        }
        case StmtKind::doWhile: {
            auto* made = copy(*static_cast<const DoWhileStmt*>(from));
            made->body = node(made->body);
            made->condition = node(made->condition);
            return made;
        }
        case StmtKind::switch_: {
            auto* made = copy(*static_cast<const SwitchStmt*>(from));
            made->value = node(made->value);
            made->body = node(made->body);
            return made;
        }
        case StmtKind::case_: {
            auto* made = copy(*static_cast<const CaseStmt*>(from));
            made->value = node(made->value);
            return made;
        }
        case StmtKind::return_: {
            auto* made = copy(*static_cast<const ReturnStmt*>(from));
            made->value = node(made->value);
            return made;
        }
        case StmtKind::break_: return copy(*static_cast<const BreakStmt*>(from));
        case StmtKind::continue_: return copy(*static_cast<const ContinueStmt*>(from));
        case StmtKind::null: return copy(*static_cast<const NullStmt*>(from));
        }
        return nullptr;
    }

    // ---- declarations
    VarDecl* node(const VarDecl* from) {
        if (!from) return nullptr;
        VarDecl* made = copy(*from);
        made->attributes = attributes(from->attributes);
        made->typeSyntax = node(from->typeSyntax);
        made->parenArguments = each(from->parenArguments);
        made->initializer = node(from->initializer);
        return made;
    }

    FunctionDecl* node(const FunctionDecl* from) {
        if (!from) return nullptr;
        FunctionDecl* made = copy(*from);
        made->attributes = attributes(from->attributes);
        made->returnTypeSyntax = node(from->returnTypeSyntax);
        made->parameters = each(from->parameters);
        made->body = node(from->body);
        made->memberInits = arena_.makeArray<FunctionDecl::MemberInit>(from->memberInits.size());
        for (std::size_t i = 0; i < from->memberInits.size(); ++i) {
            made->memberInits[i] = from->memberInits[i];
            made->memberInits[i].arguments = each(from->memberInits[i].arguments);
            made->memberInits[i].base = node(from->memberInits[i].base);
        }
        made->templateParameters = each(from->templateParameters);
        made->definition = nullptr;
        return made;
    }

    TemplateParameterDecl* node(const TemplateParameterDecl* from) {
        if (!from) return nullptr;
        TemplateParameterDecl* made = copy(*from);
        made->valueType = node(from->valueType);
        made->functionType = node(from->functionType);
        made->defaultType = node(from->defaultType);
        made->defaultValue = node(from->defaultValue);
        return made;
    }

    StructDecl* node(const StructDecl* from) {
        if (!from) return nullptr;
        StructDecl* made = copy(*from);
        made->attributes = attributes(from->attributes);
        made->members = each(from->members);
        made->bases = each(from->bases);
        made->templateParameters = each(from->templateParameters);
        made->definition = nullptr;
        made->type = nullptr;
        return made;
    }

    EnumDecl* node(const EnumDecl* from) {
        if (!from) return nullptr;
        EnumDecl* made = copy(*from);
        made->underlying = node(from->underlying);
        made->enumerators = arena_.makeArray<EnumeratorDecl*>(from->enumerators.size());
        for (std::size_t i = 0; i < from->enumerators.size(); ++i) {
            made->enumerators[i] = copy(*from->enumerators[i]);
            made->enumerators[i]->valueExpr = node(from->enumerators[i]->valueExpr);
            made->enumerators[i]->owner = made;
        }
        made->type = nullptr;
        return made;
    }

    Decl* node(const Decl* from) {
        if (!from) return nullptr;
        switch (from->kind) {
        case DeclKind::variable: return node(static_cast<const VarDecl*>(from));
        case DeclKind::function: return node(static_cast<const FunctionDecl*>(from));
        case DeclKind::struct_: return node(static_cast<const StructDecl*>(from));
        case DeclKind::enum_: return node(static_cast<const EnumDecl*>(from));
        case DeclKind::templateParameter: return node(static_cast<const TemplateParameterDecl*>(from));
        case DeclKind::enumerator: return copy(*static_cast<const EnumeratorDecl*>(from));
        case DeclKind::typeAlias: {
            auto* made = copy(*static_cast<const TypeAliasDecl*>(from));
            made->attributes = attributes(made->attributes);
            made->aliased = node(made->aliased);
            made->templateParameters = each(made->templateParameters);
            return made;
        }
        case DeclKind::namespace_: {
            auto* made = copy(*static_cast<const NamespaceDecl*>(from));
            made->members = each(made->members);
            return made;
        }
        case DeclKind::using_: {
            auto* made = copy(*static_cast<const UsingDecl*>(from));
            made->target = name(made->target);
            return made;
        }
        case DeclKind::usingNamespace: {
            auto* made = copy(*static_cast<const UsingNamespaceDecl*>(from));
            made->target = name(made->target);
            return made;
        }
        case DeclKind::namespaceAlias: {
            auto* made = copy(*static_cast<const NamespaceAliasDecl*>(from));
            made->target = name(made->target);
            return made;
        }
        case DeclKind::instantiation: {
            auto* made = copy(*static_cast<const InstantiationDecl*>(from));
            made->type = node(made->type);
            made->function = node(made->function);
            return made;
        }
        case DeclKind::pack: return copy(*static_cast<const PackDecl*>(from));
        case DeclKind::staticAssert: {
            auto* made = copy(*static_cast<const StaticAssertDecl*>(from));
            made->condition = node(made->condition);
            return made;
        }
        case DeclKind::empty: return copy(*static_cast<const EmptyDecl*>(from));
        }
        return nullptr;
    }

  private:
    Arena& arena_;
    std::vector<const Identifier*>* names_;
};

} // namespace

FunctionDecl* clone(Arena& arena, const FunctionDecl& function) {
    return Cloner(arena).node(&function);
}
VarDecl* clone(Arena& arena, const VarDecl& variable) {
    return Cloner(arena).node(&variable);
}
StructDecl* clone(Arena& arena, const StructDecl& structure) {
    return Cloner(arena).node(&structure);
}
TypeSyntax* clone(Arena& arena, const TypeSyntax* type) {
    return Cloner(arena).node(type);
}
Expr* clone(Arena& arena, const Expr* expression) {
    return Cloner(arena).node(expression);
}
void namesIn(Arena& arena, const Expr* expression, std::vector<const Identifier*>& names) {
    Cloner(arena, &names).node(expression);
}
void namesIn(Arena& arena, const TypeSyntax* type, std::vector<const Identifier*>& names) {
    Cloner(arena, &names).node(type);
}
void namesIn(Arena& arena, const FunctionDecl& function, std::vector<const Identifier*>& names) {
    Cloner(arena, &names).node(&function);
}

} // namespace msl
