#pragma once

// Where a command writes: results to standard output, messages and progress to standard error. One object for the run
// of the program, used by one thread. A write that fails is remembered and decides the exit status at the end.

#include <string>
#include <string_view>

namespace hob {

// What the program says to its caller.
enum class ExitStatus { done = 0, failed = 1, wrongUsage = 2 };

class Console {
  public:
    Console(int output, int error);

    // Bytes of a result: text, or a file sent to `-`.
    void write(std::string_view bytes);
    // A text of several lines for a person, as it is; a line break is added when the last one is missing.
    void message(std::string_view text);
    // One sentence that says what is wrong, behind the program's name.
    void problem(std::string_view sentence);
    // Shows how far long work has come, on one line that is overwritten; does nothing unless a person watches.
    void progress(std::string_view text);
    // Takes the progress line away again.
    void endProgress();

    bool outputIsTerminal() const { return outputIsTerminal_; }
    bool outputFailed() const { return outputFailed_; }

  private:
    int output_;
    int error_;
    bool outputIsTerminal_;
    bool errorIsTerminal_;
    bool outputFailed_ = false;
    std::size_t progressLength_ = 0;
};

} // namespace hob
