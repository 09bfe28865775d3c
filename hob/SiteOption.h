#pragma once

// What the commands that speak to the gallery share: the option that says which one, and the event loop and the session
// that their requests run in. Main thread.

#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/Site.h"
#include "hob/Arguments.h"
#include "hob/Console.h"

#include <QCoreApplication>

#include <qcoro/qcorotask.h>

#include <optional>
#include <string>
#include <utility>

namespace hob {

inline constexpr Option siteOption = {"--site", "", "URL", "the gallery at this address, for this run"};

// The gallery of the option, else of the setting "apiBase", else the program's own. Needs an Online. Nothing
// after a mistake, which it tells.
std::optional<glasshob::Site> siteOf(const Arguments& arguments, Console& console);

// One at a time.
class Online {
  public:
    Online();

    glasshob::HttpSession& session() { return session_; }
    template <class Value>
    Value wait(QCoro::Task<Value> task) {
        return QCoro::waitFor(std::move(task));
    }

  private:
    int count_ = 1;
    char name_[4] = "hob";
    char* words_[2] = {name_, nullptr};
    QCoreApplication application_;
    glasshob::HttpSession session_;
};

// A text from elsewhere, without what would steer a terminal.
std::string forTerminal(std::string_view text);

} // namespace hob
