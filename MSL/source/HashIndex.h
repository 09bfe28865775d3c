// A hash table of things that live elsewhere: from a hash to the items that have it, by open addressing in one array.
// The owner compares; items are never taken out. Not thread safe.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace msl {

template <typename Item>
class HashIndex {
  public:
    // The first item with this hash that `isWanted` accepts; null when there is none.
    template <typename Test>
    const Item* find(std::uint64_t hash, Test isWanted) const {
        if (slots_.empty()) return nullptr;
        hash |= taken;
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t at = spread(hash) & mask; slots_[at].hash != 0; at = (at + 1) & mask)
            if (slots_[at].hash == hash && isWanted(slots_[at].item)) return &slots_[at].item;
        return nullptr;
    }

    void add(std::uint64_t hash, Item item) {
        if (count_ * 2 >= slots_.size()) grow();
        place({hash | taken, std::move(item)});
        ++count_;
    }

  private:
    // Set in every hash here, so that 0 says that a slot is free.
    static constexpr std::uint64_t taken = std::uint64_t{1} << 63;
    struct Slot {
        std::uint64_t hash = 0;
        Item item{};
    };
    static std::size_t spread(std::uint64_t hash) { return static_cast<std::size_t>(hash ^ (hash >> 32)); }

    void place(Slot slot) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = spread(slot.hash) & mask;
        while (slots_[at].hash != 0)
            at = (at + 1) & mask;
        slots_[at] = std::move(slot);
    }

    void grow() {
        std::vector<Slot> old(slots_.empty() ? 256 : slots_.size() * 2);
        old.swap(slots_);
        for (Slot& slot : old)
            if (slot.hash != 0) place(std::move(slot));
    }

    std::vector<Slot> slots_; // a power of two
    std::size_t count_ = 0;
};

} // namespace msl
