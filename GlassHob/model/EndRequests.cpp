#include "GlassHob/model/EndRequests.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr int signals_[] = {SIGTERM, SIGINT, SIGHUP};

// Where the handler writes to; it may do next to nothing else.
volatile std::sig_atomic_t writeEnd = -1;

void handle(int signal) {
    const auto byte = static_cast<unsigned char>(signal);
    (void)!write(int(writeEnd), &byte, 1);
}

} // namespace

EndRequests::EndRequests() {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) return;
    writeEnd = ends_[1];
    notifier_ = new QSocketNotifier(ends_[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (read(ends_[0], &byte, 1) == 1)
            emit requested(byte);
    });
    struct sigaction action = {};
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : signals_)
        sigaction(signal, &action, nullptr);
}

EndRequests::~EndRequests() {
    if (!notifier_) return;
    for (const int signal : signals_)
        std::signal(signal, SIG_DFL);
    writeEnd = -1;
    delete notifier_;
    close(ends_[0]);
    close(ends_[1]);
}

} // namespace glasshob
