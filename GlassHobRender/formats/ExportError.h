#pragma once

// Why an export ended without a result. The description is what a person reads.

#include <cstdint>
#include <exception>
#include <string>

namespace glasshob {

class ExportError : public std::exception {
  public:
    enum class Kind : std::uint8_t { setup, render, writer, cancelled };

    static ExportError setup(const std::string& message);
    // The frame's number in the whole export.
    static ExportError render(std::int64_t frame);
    static ExportError writer(const std::string& message);
    static ExportError cancelled();
    // What went wrong with a file, in a sentence that stands alone; of the kind `writer`.
    explicit ExportError(std::string sentence) : kind(Kind::writer), description(std::move(sentence)) {}

    Kind kind = Kind::setup;
    std::string description;
    const char* what() const noexcept override { return description.c_str(); }

  private:
    ExportError(Kind kind_, std::string description_) : kind(kind_), description(std::move(description_)) {}
};

} // namespace glasshob
