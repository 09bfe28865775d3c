// A bump allocator: everything that one compile makes lives here and dies together. Objects are never destroyed one
// by one, so only trivially destructible types may be made in it. Not thread safe: one arena per compile.
//
// An arena with a work limit counts what it hands out as work, and throws std::bad_alloc when the limit is exceeded or
// its memory used up. A thread keeps a few blocks of its last arenas for the next ones: an editor compiles the same
// text again and again, and memory that goes back to the system between two compiles costs more than filling it.
#pragma once

#include "MSL/source/WorkLimit.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace msl {

class Arena {
  public:
    explicit Arena(WorkLimit* limit = nullptr) : limit_(limit) {}
    ~Arena();

    // Counts with this limit from now on, or with none; what was taken so far stays counted where it was.
    void countWith(WorkLimit* limit) { limit_ = limit; }
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    void* allocate(std::size_t size, std::size_t alignment) {
        std::uintptr_t at = (cursor_ + alignment - 1) & ~(static_cast<std::uintptr_t>(alignment) - 1);
        if (size > end_ || at > end_ - size) {
            grow(size + alignment);
            at = (cursor_ + alignment - 1) & ~(static_cast<std::uintptr_t>(alignment) - 1);
        }
        cursor_ = at + size;
        return reinterpret_cast<void*>(at);
    }

    template <typename T, typename... Args>
    T* make(Args&&... args) {
        static_assert(std::is_trivially_destructible_v<T>);
        return ::new (allocate(sizeof(T), alignof(T))) T(std::forward<Args>(args)...);
    }

    template <typename T>
    std::span<T> copy(std::span<const T> items) {
        static_assert(std::is_trivially_destructible_v<T>);
        if (items.empty()) return {};
        T* to = static_cast<T*>(allocate(sizeof(T) * items.size(), alignof(T)));
        std::uninitialized_copy(items.begin(), items.end(), to);
        return {to, items.size()};
    }
    template <typename T>
    std::span<T> copy(const std::vector<T>& items) {
        return copy(std::span<const T>(items));
    }

    template <typename T>
    std::span<T> makeArray(std::size_t count) {
        static_assert(std::is_trivially_destructible_v<T>);
        if (count == 0) return {};
        T* to = static_cast<T*>(allocate(sizeof(T) * count, alignof(T)));
        std::uninitialized_value_construct_n(to, count);
        return {to, count};
    }

    std::string_view copyText(std::string_view text) {
        if (text.empty()) return {};
        char* to = static_cast<char*>(allocate(text.size(), 1));
        std::memcpy(to, text.data(), text.size());
        return {to, text.size()};
    }

    // Bytes taken from the system so far.
    std::size_t bytesReserved() const { return reserved_; }

  private:
    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size = 0;
    };
    class SpareBlocks;

    void grow(std::size_t atLeast);

    WorkLimit* limit_;
    std::uintptr_t cursor_ = 0;
    std::uintptr_t end_ = 0;
    std::size_t reserved_ = 0;
    std::vector<Block> blocks_;
};

} // namespace msl
