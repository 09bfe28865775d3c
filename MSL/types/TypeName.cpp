// How types read in messages and in the reflection: as a person would write them.
#include "MSL/types/TextureTraits.h"
#include "MSL/types/Types.h"

namespace msl {
namespace {

std::string_view accessName(TextureAccess access) {
    switch (access) {
    case TextureAccess::sample: return "sample";
    case TextureAccess::read: return "read";
    case TextureAccess::write: return "write";
    case TextureAccess::readWrite: return "read_write";
    }
    return "sample";
}

constexpr std::size_t longestName = 400;

void append(std::string& out, TypeRef type, unsigned depth);

void append(std::string& out, TypeRef type, unsigned depth) {
    if (!type || depth > 16 || out.size() > longestName) {
        out += "...";
        return;
    }
    switch (type->kind) {
    case TypeKind::error: out += "<error type>"; return;
    case TypeKind::void_: out += "void"; return;
    case TypeKind::scalar: out += scalarName(type->scalar); return;
    case TypeKind::packedVector: out += "packed_"; [[fallthrough]];
    case TypeKind::vector:
        out += scalarName(type->scalar);
        out += static_cast<char>('0' + type->columns);
        return;
    case TypeKind::matrix:
        out += scalarName(type->scalar);
        out += static_cast<char>('0' + type->columns);
        out += 'x';
        out += static_cast<char>('0' + type->rows);
        return;
    case TypeKind::array: {
        // The innermost element first, then the sizes from the outermost: "float [2][3]".
        TypeRef element = type;
        unsigned levels = 0;
        while (element->kind == TypeKind::array && ++levels < 64)
            element = element->element;
        append(out, element, depth + 1);
        out += ' ';
        TypeRef at = type;
        for (; levels > 0; --levels, at = at->element) {
            out += '[';
            if (at->count) out += std::to_string(at->count);
            out += ']';
        }
        return;
    }
    case TypeKind::struct_:
    case TypeKind::enum_: out += type->name; return;
    case TypeKind::pointer:
    case TypeKind::reference:
        if (type->pointeeConst && type->space != AddressSpace::constant) out += "const ";
        out += spaceName(type->space);
        out += ' ';
        append(out, type->element, depth + 1);
        out += type->kind == TypeKind::pointer ? " *" : " &";
        return;
    case TypeKind::texture:
        out += textureTemplateName(type->textureShape);
        out += '<';
        out += scalarName(type->scalar);
        if (type->textureAccess != TextureAccess::sample) {
            out += ", access::";
            out += accessName(type->textureAccess);
        }
        out += '>';
        return;
    case TypeKind::sampler: out += "sampler"; return;
    case TypeKind::interpolant:
        out += "interpolant<";
        append(out, type->element, depth + 1);
        out += type->hasPerspective ? ", interpolation::perspective>" : ", interpolation::no_perspective>";
        return;
    case TypeKind::atomic:
        out += "atomic_";
        out += scalarName(type->scalar);
        return;
    case TypeKind::overload: out += "<overloaded function type>"; return;
    case TypeKind::dependent: out += !type->name.empty() ? type->name : std::string_view("<dependent type>"); return;
    case TypeKind::auto_: out += "auto"; return;
    case TypeKind::lambda: out += "(lambda)"; return;
    }
}

} // namespace

std::string_view scalarName(ScalarKind kind) {
    static constexpr std::string_view names[scalarKindCount] = {"bool", "char", "uchar", "short", "ushort", "int",
                                                                "uint", "long", "ulong", "half",  "bfloat", "float"};
    return names[static_cast<unsigned>(kind)];
}

std::string_view spaceName(AddressSpace space) {
    switch (space) {
    case AddressSpace::thread: return "thread";
    case AddressSpace::constant: return "constant";
    case AddressSpace::device: return "device";
    case AddressSpace::threadgroup: return "threadgroup";
    }
    return "thread";
}

std::string typeName(TypeRef type) {
    std::string out;
    append(out, type, 0);
    return out;
}

} // namespace msl
