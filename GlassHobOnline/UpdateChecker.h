#pragma once

// Whether there is a newer release of this program: asked of a small feed once a day at the most, or when a person
// wants to know. Nothing is ever downloaded or installed here. Main thread; failures of its own checks are silent.

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/Cancellation.h"
#include "GlassHobCore/site/Clock.h"
#include "GlassHobCore/site/LatestRelease.h"

#include <QObject>
#include <QUrl>

#include <qcoro/qcorotask.h>

#include <chrono>
#include <expected>
#include <optional>
#include <string>

namespace glasshob {

class HttpSession;

class UpdateChecker : public QObject {
    Q_OBJECT
  public:
    static constexpr std::chrono::seconds timeOut{15};
    static constexpr std::chrono::seconds interval{86'400};

    // Session and clock must outlive the checker.
    explicit UpdateChecker(HttpSession& session, Clock& clock = Clock::real(),
                           std::string currentBuild = std::to_string(Identity::buildNumber), QObject* parent = nullptr);
    ~UpdateChecker() override;

    // The address of the setting "updateFeed" where that is an http or https one, else the gallery's.
    static QUrl feed();
    // What a feed says, or in a few words why it could not be read.
    static QCoro::Task<std::expected<LatestRelease, std::string>> read(HttpSession& session, QUrl feed,
                                                                       Cancellation cancellation = {});

    // The newest release, when it is newer than this one.
    const std::optional<LatestRelease>& available() const { return available_; }

    // Checks, unless the last check that succeeded is less than a day ago.
    void checkIfDue();
    // Checks now. Gives whether the feed could be read.
    QCoro::Task<bool> check();

  Q_SIGNALS:
    void changed(); // available

  private:
    bool isDue() const;

    HttpSession& session_;
    Clock& clock_;
    const std::string currentBuild_;
    std::optional<LatestRelease> available_;
    // Requested when the checker goes: what wakes later must not touch it.
    CancellationSource life_;
};

} // namespace glasshob
