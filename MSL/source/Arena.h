// A bump allocator: everything that one compile makes lives here and dies together. Objects are never destroyed one
// by one, so only trivially destructible types may be made in it. Not thread safe: one arena per compile.
//
// An arena with a work limit counts what it hands out as work, and throws std::bad_alloc when the limit is exceeded or
// its memory used up.
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
    ~Arena() {
        if (limit_ != nullptr) limit_->giveBackBytes(reserved_);
    }

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
    void grow(std::size_t atLeast) {
        std::size_t size = blocks_.empty() ? std::size_t{64} * 1024 : std::size_t{256} * 1024;
        if (size < atLeast) size = atLeast;
        // A unit of work makes about so much.
        constexpr std::size_t bytesPerStep = 256;
        if (limit_ != nullptr && (!limit_->step(size / bytesPerStep) || !limit_->takeBytes(size)))
            throw std::bad_alloc();
        reserved_ += size;
        blocks_.push_back(std::unique_ptr<std::byte[]>(new std::byte[size]));
        cursor_ = reinterpret_cast<std::uintptr_t>(blocks_.back().get());
        end_ = cursor_ + size;
    }

    WorkLimit* limit_;
    std::uintptr_t cursor_ = 0;
    std::uintptr_t end_ = 0;
    std::size_t reserved_ = 0;
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

} // namespace msl
