// The system's polite requests to end (a logout, Ctrl-C in the terminal that started the program), reported in the main
// thread, where there is time to put things in order. One at a time; main thread. Where the system refuses the means,
// requests end the program at once, as they do without this.
#pragma once

#include <QObject>

class QSocketNotifier;

namespace glasshob {

class EndRequests : public QObject {
    Q_OBJECT
  public:
    EndRequests();
    ~EndRequests() override;

  signals:
    void requested(int signal);

  private:
    int ends_[2] = {-1, -1};
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace glasshob
