// Where the values of a constexpr run lie: one number after the other. A scalar is one number, a vector, matrix, array
// or struct those of its parts in order; a variable is a pointer to its first. Memory is taken and given back as from a
// stack and kept for the next run, so that a run allocates next to nothing.
#pragma once

#include "MSL/types/Types.h"
#include "MSL/constant/Scalar.h"

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

namespace msl {

class ConstStore {
  public:
    static constexpr std::size_t maxNumbers = 1 << 18; // at any time, in all runs inside each other

    struct Mark {
        std::size_t chunk = 0;
        std::size_t used = 0;
        std::size_t total = 0;
    };
    Mark mark() const { return top_; }
    void release(Mark mark) { top_ = mark; }
    // Zeroed of no kind; null when there would be too many.
    constant::Scalar* take(std::size_t count);

    // How many numbers a type's value is; 0 for what has none (pointers, textures, unions, incomplete structs).
    std::size_t count(TypeRef type);
    // The number at which a field begins in its struct.
    std::size_t fieldOffset(const StructDecl* decl, std::size_t field);

  private:
    struct Shape {
        std::size_t total = 0;
        std::vector<std::size_t> offsets;
    };
    const Shape& shapeOf(const StructDecl* decl);

    struct Chunk {
        std::unique_ptr<constant::Scalar[]> numbers;
        std::size_t size = 0;
    };
    std::vector<Chunk> chunks_;
    Mark top_;
    std::unordered_map<const StructDecl*, Shape> shapes_;
};

} // namespace msl
