#pragma once

// Reads a multipart/form-data body as it comes, in pieces of any size, holding one boundary's length of it and the
// headers of one part. Strict: whatever is not such a body ends it as broken, and a body that stops early never counts
// as whole. Plain; one thread.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob::gallery {

class MultipartReader {
  public:
    // Hears of the parts in their order. Answering false breaks the reading off.
    class Receiver {
      public:
        virtual ~Receiver() = default;
        virtual bool beginPart(std::string_view name) = 0;
        virtual bool data(std::string_view bytes) = 0;
        virtual bool endPart() = 0;
    };

    MultipartReader(std::string boundary, Receiver& receiver);

    void take(std::string_view bytes);
    // Whether all of the body was there, down to its last boundary.
    bool isWhole() const { return state_ == State::end; }
    bool isBroken() const { return state_ == State::broken; }

    // The boundary that a Content-Type names; nothing when it names none that may be.
    static std::optional<std::string> boundaryOf(std::string_view contentType);

  private:
    enum class State { start, afterBoundary, headers, data, end, broken };
    // Whether there is more to do with what is held.
    bool step();
    bool readHeaders(std::string_view block);

    std::string delimiter_;
    Receiver& receiver_;
    State state_ = State::start;
    std::string held_;
    int parts_ = 0;
};

} // namespace glasshob::gallery
