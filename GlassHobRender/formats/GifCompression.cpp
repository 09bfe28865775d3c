#include "GlassHobRender/formats/GifCompression.h"

namespace glasshob::GifCompression {

namespace {

constexpr std::uint32_t bitsOfValue = 8;
constexpr std::uint32_t clearCode = 256;
constexpr std::uint32_t endCode = 257;
constexpr std::uint32_t codeCount = 4096;

// Bits, the lowest first, in blocks that begin with their length.
class BlockWriter {
  public:
    explicit BlockWriter(std::vector<std::byte>& bytes) : bytes_(bytes) {}

    void write(std::uint32_t code, std::uint32_t bitCount) {
        waiting_ |= code << waitingCount_;
        for (waitingCount_ += bitCount; waitingCount_ >= 8; waitingCount_ -= 8) {
            put(std::byte(waiting_ & 255U));
            waiting_ >>= 8U;
        }
    }
    void finish() {
        if (waitingCount_ > 0) put(std::byte(waiting_ & 255U));
        bytes_.push_back(std::byte(0));
    }

  private:
    void put(std::byte byte) {
        if (length_ == 0 || length_ == 255) {
            start_ = bytes_.size();
            length_ = 0;
            bytes_.push_back(std::byte(0));
        }
        bytes_.push_back(byte);
        bytes_[start_] = std::byte(++length_);
    }

    std::vector<std::byte>& bytes_;
    std::size_t start_ = 0;
    std::uint32_t length_ = 0;
    std::uint32_t waiting_ = 0;
    std::uint32_t waitingCount_ = 0;
};

// Which code stands for a known sequence and one value more.
class Sequences {
  public:
    Sequences() : slots_(slotCount) {}
    void clear() { slots_.assign(slotCount, {}); }

    // The code of the sequence; when there is none yet it gets `fresh`, and 0 comes back.
    std::uint32_t findOrAdd(std::uint32_t prefix, std::uint8_t value, std::uint32_t fresh) {
        const std::uint32_t key = (prefix << 8U | value) + 1; // 0 marks a free slot
        std::uint32_t at = (key * 2654435769U) >> (32U - slotBits);
        while (slots_[at].key != 0) {
            if (slots_[at].key == key) return slots_[at].code;
            at = (at + 1) % slotCount;
        }
        slots_[at] = {key, fresh};
        return 0;
    }

  private:
    static constexpr std::uint32_t slotBits = 14; // four times as many as sequences
    static constexpr std::uint32_t slotCount = 1U << slotBits;
    struct Slot {
        std::uint32_t key = 0, code = 0;
    };
    std::vector<Slot> slots_;
};

} // namespace

void append(std::vector<std::byte>& bytes, std::span<const std::uint8_t> values) {
    bytes.push_back(std::byte(bitsOfValue));
    BlockWriter blocks(bytes);
    Sequences sequences;
    std::uint32_t bitCount = bitsOfValue + 1;
    std::uint32_t next = endCode + 1;
    blocks.write(clearCode, bitCount);
    if (!values.empty()) {
        std::uint32_t known = values.front();
        for (const std::uint8_t value : values.subspan(1)) {
            if (const std::uint32_t longer = sequences.findOrAdd(known, value, next)) {
                known = longer;
                continue;
            }
            blocks.write(known, bitCount);
            known = value;
            if (next == codeCount) {
                blocks.write(clearCode, bitCount);
                sequences.clear();
                bitCount = bitsOfValue + 1;
                next = endCode + 1;
                continue;
            }
            if (next == 1U << bitCount) ++bitCount;
            ++next;
        }
        blocks.write(known, bitCount);
    }
    blocks.write(endCode, bitCount);
    blocks.finish();
}

} // namespace glasshob::GifCompression
