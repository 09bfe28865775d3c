// The named constants of the library that are no functions: access::write, filter::linear, mem_flags::mem_device,
// memory_order_relaxed ... Static data.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

struct LibraryConstant {
    std::string_view enumeration; // empty: visible without a qualifier
    std::string_view name;
    std::int64_t value = 0;
};

const LibraryConstant* findLibraryConstant(std::string_view enumeration, std::string_view name);
bool isLibraryEnum(std::string_view enumeration);
std::span<const LibraryConstant> libraryConstants();

} // namespace msl
