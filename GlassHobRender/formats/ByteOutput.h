#pragma once

// A file or a pipe that bytes are written to one after another. Where a reader takes its time, a request to stop ends
// the wait. Used by one thread; errors are one sentence that says what happened and what to do.

#include <cstddef>
#include <expected>
#include <span>
#include <stop_token>
#include <string>
#include <utility>

namespace glasshob {

class ByteOutput {
  public:
    // Makes the file, or empties the one that is there. `name` is what sentences call it.
    static std::expected<ByteOutput, std::string> file(const std::string& path, std::string name);
    // What is open already, such as standard output; it stays open.
    static std::expected<ByteOutput, std::string> descriptor(int number, std::string name);
    ByteOutput(ByteOutput&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)), name_(std::move(other.name_)) {}
    ByteOutput& operator=(ByteOutput&&) = delete;
    ~ByteOutput();

    std::expected<void, std::string> write(std::span<const std::byte> bytes, const std::stop_token& stop = {});
    // Whether all of it has arrived, as far as the system can tell.
    std::expected<void, std::string> close();

  private:
    ByteOutput(int descriptor, std::string name) : descriptor_(descriptor), name_(std::move(name)) {}
    std::unexpected<std::string> failure(int error) const;

    int descriptor_;
    std::string name_;
};

} // namespace glasshob
