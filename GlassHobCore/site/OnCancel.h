#pragma once

// Calls a function when work is cancelled, while this lives: at once where that happens on the thread of `context`, and
// from that thread's event loop otherwise. Also when the work was cancelled before; then in the constructor. The
// function may destroy this object.

#include "GlassHobCore/site/Cancellation.h"

#include <QObject>
#include <QThread>

#include <functional>
#include <memory>
#include <utility>

namespace glasshob {

class OnCancel {
  public:
    OnCancel(const Cancellation& cancellation, QObject* context, std::function<void()> call)
        : call_(std::make_shared<std::function<void()>>(std::move(call))),
          callback_(cancellation, [context, weak = std::weak_ptr(call_)] {
              const auto run = [weak] {
                  if (const auto strong = weak.lock()) (*strong)();
              };
              if (QThread::currentThread() == context->thread())
                  run();
              else
                  QMetaObject::invokeMethod(context, run, Qt::QueuedConnection);
          }) {}

  private:
    std::shared_ptr<std::function<void()>> call_;
    std::stop_callback<std::function<void()>> callback_;
};

} // namespace glasshob
