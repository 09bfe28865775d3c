// The types of the language and of the IR. Types are interned in a TypeTable: equal types are the same pointer, so a
// comparison of types is a comparison of pointers. Sizes and alignments are Metal's (a float3 is 16 bytes, a
// packed_float3 12, a bool 1).
//
// const and the address space of a variable belong to the variable or the expression, not to the type; only pointers
// and references carry what they point at: address space and constness of the pointee.
#pragma once

#include "MSL/source/Arena.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace msl {

// The front end's declarations. Types carry them for it; nothing behind lowering looks at them.
struct StructDecl;
struct EnumDecl;
struct TemplateParameterDecl;

enum class ScalarKind : std::uint8_t {
    bool_,
    char_,
    uchar,
    short_,
    ushort,
    int_,
    uint,
    long_,
    ulong,
    half,
    bfloat, // the upper half of a float
    float_
};
inline constexpr unsigned scalarKindCount = 12;

constexpr bool isFloating(ScalarKind kind) {
    return kind >= ScalarKind::half;
}
constexpr bool hasMatrices(ScalarKind kind) {
    return kind == ScalarKind::half || kind == ScalarKind::float_;
}
constexpr bool isInteger(ScalarKind kind) {
    return kind < ScalarKind::half;
} // bool included
constexpr bool isSigned(ScalarKind kind) {
    return kind == ScalarKind::char_ || kind == ScalarKind::short_ || kind == ScalarKind::int_ ||
           kind == ScalarKind::long_ || isFloating(kind);
}
constexpr unsigned byteSize(ScalarKind kind) {
    switch (kind) {
    case ScalarKind::bool_:
    case ScalarKind::char_:
    case ScalarKind::uchar: return 1;
    case ScalarKind::short_:
    case ScalarKind::ushort:
    case ScalarKind::half:
    case ScalarKind::bfloat: return 2;
    case ScalarKind::int_:
    case ScalarKind::uint:
    case ScalarKind::float_: return 4;
    case ScalarKind::long_:
    case ScalarKind::ulong: return 8;
    }
    return 0;
}

// Whether a number becomes one of another kind without being asked to. A bfloat becomes a float, but neither a float
// nor a half becomes a bfloat, nor a bfloat a half.
constexpr bool convertsUnasked(ScalarKind from, ScalarKind to) {
    if (from == to || !isFloating(from) || !isFloating(to)) return true;
    return to != ScalarKind::bfloat && (from != ScalarKind::bfloat || to == ScalarKind::float_);
}

enum class AddressSpace : std::uint8_t { thread, constant, device, threadgroup };

enum class TypeKind : std::uint8_t {
    error, // a type that could not be made out; silences everything that depends on it
    void_,
    scalar,
    vector,       // scalar x count(2..4), aligned to its padded size
    packedVector, // packed_float3 ...: storage only; converts to and from vector
    matrix,       // columns x rows of half or float
    array,        // element x count; count 0: as many as the buffer holds (pointer arguments,
                  // IR only), or an array_ref
    struct_,      // struct, class, union
    enum_,
    pointer,
    reference,
    texture,
    sampler,
    interpolant, // of an input of a fragment function, interpolated where it is asked for
    atomic,      // atomic_int, atomic_uint ...
    overload,    // the name of a set of functions, before a call
    dependent,   // depends on a template parameter
    auto_,       // to be deduced from the initialiser
    lambda,      // struct-like closure; its record holds the captures
};

enum class TextureShape : std::uint8_t {
    texture1d,
    texture1dArray,
    texture2d,
    texture2dArray,
    texture2dMs,
    texture2dMsArray,
    texture3d,
    cube,
    cubeArray,
    buffer,
    depth2d,
    depth2dArray,
    depth2dMs,
    depth2dMsArray,
    depthCube,
    depthCubeArray,
};
enum class TextureAccess : std::uint8_t { sample, read, write, readWrite };

struct Record;

struct Type {
    TypeKind kind = TypeKind::error;
    ScalarKind scalar = ScalarKind::float_;    // scalar, vector, packedVector, matrix, atomic; element of a texture
    std::uint8_t columns = 1;                  // vector and packedVector: component count; matrix: columns
    std::uint8_t rows = 1;                     // matrix: rows
    AddressSpace space = AddressSpace::thread; // pointer, reference: where the pointee lies
    bool pointeeConst = false;                 // pointer, reference
    bool hasPerspective = true;                // interpolant
    TextureShape textureShape = TextureShape::texture2d;
    TextureAccess textureAccess = TextureAccess::sample;
    const Type* element = nullptr;  // vector, packedVector, matrix (its column type), array, pointer, reference,
                                    // interpolant
    std::uint64_t count = 0;        // array
    const Record* record = nullptr; // struct_, lambda
    std::string_view name;          // struct_, enum_, dependent: as typeName prints it; empty: has none
    std::uint32_t id = 0;           // dense number in its table, for side tables

    // The front end's.
    StructDecl* structDecl = nullptr;
    EnumDecl* enumDecl = nullptr;                     // element is the underlying type
    const TemplateParameterDecl* parameter = nullptr; // dependent: the parameter when it is just that

    bool is(TypeKind k) const { return kind == k; }
    bool isScalar() const { return kind == TypeKind::scalar; }
    bool isVector() const { return kind == TypeKind::vector; }
    bool isMatrix() const { return kind == TypeKind::matrix; }
    bool isError() const { return kind == TypeKind::error; }
    bool isBool() const { return kind == TypeKind::scalar && scalar == ScalarKind::bool_; }
    bool isNumeric() const { return isScalar() || isVector() || isMatrix(); }
    bool isFloatingNumeric() const { return isNumeric() && isFloating(scalar); }
    bool isIntegerNumeric() const { return (isScalar() || isVector()) && isInteger(scalar); }
    unsigned componentCount() const { return kind == TypeKind::matrix ? columns * rows : columns; }
};
using TypeRef = const Type*;

// A member of a struct, class, union or closure as memory holds it. Base classes are members too.
struct Field {
    std::string_view name; // empty: a base class, an anonymous member, the byte of an empty struct
    TypeRef type = nullptr;
    std::uint64_t offset = 0; // in bytes, from where the struct begins
};

// What a struct, class, union or closure is once its members are known. Until then it has no fields and no size.
struct Record {
    std::span<Field> fields; // in layout order; a struct without any has one byte without a name
    std::uint64_t size = 0;  // with the padding at its end
    std::uint32_t alignment = 1;
    std::uint32_t nesting = 1;     // structs and arrays inside each other; bounded, so that passes may recurse on types
    std::uint64_t scalarCount = 0; // scalars, vectors and matrices that it holds in all
    bool isUnion = false;
};

class TypeTable {
  public:
    explicit TypeTable(Arena& arena);

    // Where types, names and records live.
    Arena& arena() const { return arena_; }

    TypeRef error() const { return error_; }
    TypeRef void_() const { return void_type_; }
    TypeRef auto_() const { return auto_type_; }
    TypeRef overload() const { return overload_; }
    TypeRef sampler() const { return sampler_; }
    TypeRef scalar(ScalarKind kind) const { return scalars_[static_cast<unsigned>(kind)]; }
    TypeRef bool_() const { return scalar(ScalarKind::bool_); }
    TypeRef int_() const { return scalar(ScalarKind::int_); }
    TypeRef uint() const { return scalar(ScalarKind::uint); }
    TypeRef float_() const { return scalar(ScalarKind::float_); }
    TypeRef half() const { return scalar(ScalarKind::half); }
    TypeRef vector(ScalarKind kind, unsigned count) const; // count 1 gives the scalar
    TypeRef packedVector(ScalarKind kind, unsigned count) const;
    TypeRef matrix(ScalarKind kind, unsigned columns, unsigned rows) const;
    TypeRef array(TypeRef element, std::uint64_t count);
    TypeRef pointer(TypeRef pointee, AddressSpace space, bool pointeeConst);
    TypeRef reference(TypeRef referee, AddressSpace space, bool refereeConst);
    TypeRef interpolant(TypeRef value, bool hasPerspective); // value: a floating scalar or vector
    TypeRef texture(TextureShape shape, ScalarKind component, TextureAccess access);
    TypeRef atomic(ScalarKind kind) const { return atomics_[static_cast<unsigned>(kind)]; }
    // One per declaration; lambda closures too. The record is made with it, and filled when the members are known.
    // Names are copied.
    TypeRef struct_(StructDecl* decl, std::string_view name, Record*& record);
    TypeRef enum_(EnumDecl* decl, std::string_view name, TypeRef underlying);
    // Null: some other dependent type.
    TypeRef dependent(const TemplateParameterDecl* parameter, std::string_view name = {});

    // The same type with another scalar kind (numeric types only).
    TypeRef withScalar(TypeRef numeric, ScalarKind kind) const;

    std::uint32_t typeCount() const { return nextId_; }

  private:
    Type* add(Type type);
    TypeRef intern(const Type& type);

    Arena& arena_;
    std::uint32_t nextId_ = 0;
    TypeRef error_ = nullptr;
    TypeRef void_type_ = nullptr;
    TypeRef auto_type_ = nullptr;
    TypeRef overload_ = nullptr;
    TypeRef sampler_ = nullptr;
    TypeRef scalars_[scalarKindCount] = {};
    TypeRef vectors_[scalarKindCount][5] = {};
    TypeRef packed_[scalarKindCount][5] = {};
    TypeRef matrices_[2][5][5] = {}; // [half, float][columns][rows]
    TypeRef atomics_[scalarKindCount] = {};
    std::unordered_multimap<std::uint64_t, TypeRef> interned_;
};

// Metal's memory layout, with what attributes and "#pragma pack" ask for in structs. Size includes the padding at the
// end (sizeof); 0 for types without a size.
struct Layout {
    std::uint64_t size = 0;
    std::uint32_t alignment = 1;
};
Layout layoutOf(TypeRef type);

// The size of the greatest number in it: what a device that reads it from memory wants it aligned to.
std::uint32_t scalarAlignment(TypeRef type);
// Whether every number in it lies at a multiple of its own size, seen from where it begins. Only packed structs have
// others.
bool isScalarAligned(TypeRef type);

// Whether a buffer of this type continues behind it: the type, or its last member, or the last member of that, is an
// array of one element. Programs write a buffer of unknown length this way.
bool endsOpen(TypeRef type);

// Built-in type names: "float3", "packed_half2", "uint32_t", "vector_float4", "simd_float3", "matrix_float4x4",
// "atomic_uint", "sampler", "size_t", "void" ... Null when the name is none of them.
TypeRef builtinType(const TypeTable& types, std::string_view name);
bool isBuiltinTypeName(std::string_view name);
// Names of built-in templates that stand for types: "vec", "matrix", "array", "texture2d", "atomic", "numeric_limits"
// ...
bool isBuiltinTemplateName(std::string_view name);

std::string_view scalarName(ScalarKind kind);
std::string_view spaceName(AddressSpace space);

// The type as a person writes it: "float3", "constant Params &", "const thread float *", "float [4]". Constness of what
// lies in constant space goes without saying.
std::string typeName(TypeRef type);

} // namespace msl
