#include "hob/Console.h"

#include <cerrno>
#include <unistd.h>

namespace hob {

namespace {

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

Console::Console(int output, int error)
    : output_(output), error_(error), outputIsTerminal_(isatty(output) == 1), errorIsTerminal_(isatty(error) == 1) {}

void Console::write(std::string_view bytes) {
    if (!outputFailed_) outputFailed_ = !writeAll(output_, bytes);
}

void Console::message(std::string_view text) {
    endProgress();
    std::string whole(text);
    if (!whole.empty() && !whole.ends_with('\n')) whole += '\n';
    writeAll(error_, whole);
}

void Console::problem(std::string_view sentence) {
    message("hob: " + std::string(sentence));
}

void Console::progress(std::string_view text) {
    if (!errorIsTerminal_) return;
    std::string line = "\r" + std::string(text);
    if (text.size() < progressLength_) line.append(progressLength_ - text.size(), ' ');
    progressLength_ = text.size();
    writeAll(error_, line);
}

void Console::endProgress() {
    if (progressLength_ == 0) return;
    writeAll(error_, "\r" + std::string(progressLength_, ' ') + "\r");
    progressLength_ = 0;
}

} // namespace hob
