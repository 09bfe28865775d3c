// The desktop application: takes the GPU, makes the model and the window, and goes into the event loop.

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EndRequests.h"
#include "GlassHob/model/SingleInstance.h"
#include "GlassHob/model/StartArguments.h"
#include "GlassHob/ui/controls/AppIcon.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/WebAddress.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"
#include "GlassHobOnline/UpdateChecker.h"

#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <QSettings>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

constexpr const char* usage =
    "Usage: glasshob [--site URL] [--shader] [FILE | LINK]\n"
    "\n"
    "Opens FILE, a shader in Metal Shading Language, with its live picture. Without FILE the\n"
    "shader of the last time is opened, or the bundled sample. LINK is a link of the gallery\n"
    "(glasshob://open?src=...): its shader is saved and shown, and runs when you press Run.\n"
    "\n"
    "  --shader FILE  open FILE\n"
    "  --site URL     the gallery for this run, such as http://localhost:8080\n"
    "  --help         show this text\n"
    "  --version      show the version\n";

// Answers the options that need no display. A status to end with, or nothing to go on.
std::optional<int> answerWithoutWindow(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(usage, stdout);
            return 0;
        }
        if (argument == "--version") {
            std::printf("Glass Hob %s\n", std::string(glasshob::Identity::version).c_str());
            return 0;
        }
    }
    return std::nullopt;
}

// Qt ends the process with a core dump where it finds no display; this says what is missing instead.
bool hasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (!qEnvironmentVariableIsEmpty(name)) return true;
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (const auto status = answerWithoutWindow(argc, argv)) return *status;
    if (!hasDisplay()) {
        std::fputs("glasshob: There is no display to open a window on. \"hob still\" draws a shader without one.\n",
                   stderr);
        return 1;
    }

    QApplication application(argc, argv);
    QApplication::setOrganizationName(glasshob::asQString(glasshob::Identity::settingsOrganization));
    QApplication::setApplicationName(glasshob::asQString(glasshob::Identity::settingsApplication));
    QApplication::setApplicationDisplayName(glasshob::asQString(glasshob::Identity::applicationName));
    QApplication::setApplicationVersion(glasshob::asQString(glasshob::Identity::version));
    QGuiApplication::setDesktopFileName(glasshob::asQString(glasshob::Identity::applicationId));

    // Qt has taken its own options out. What is left is ours.
    const auto arguments = glasshob::StartArguments::parse(QApplication::arguments().mid(1));
    if (!arguments) {
        std::fprintf(stderr, "glasshob: \"%s\" is not an option of this program. \"glasshob --help\" shows what is.\n",
                     qPrintable(arguments.error()));
        return 2;
    }
    if (!arguments->site.isEmpty() && !glasshob::isWebAddress(QUrl(arguments->site, QUrl::StrictMode))) {
        std::fprintf(stderr, "glasshob: \"%s\" is no address of a gallery: give one such as http://localhost:8080.\n",
                     qPrintable(arguments->site));
        return 2;
    }

    glasshob::SingleInstance instance;
    const QByteArray activation = glasshob::SingleInstance::takeActivation();
    if (!instance.becomeFirst()) {
        const QString file = arguments->path.isEmpty() ? QString() : QFileInfo(arguments->path).absoluteFilePath();
        if (instance.handOver({file, activation, arguments->link})) return 0;
        std::fputs("glasshob: The Glass Hob that is running does not answer; this one opens a window of its own.\n",
                   stderr);
    }

    gpu::Device::prepare();
    glasshob::Theme::instance().install();
    QApplication::setWindowIcon(glasshob::applicationIcon());

    const auto site = glasshob::Site::at(
        (arguments->site.isEmpty()
             ? QSettings().value(glasshob::asQString(glasshob::Identity::setting::apiBase)).toString()
             : arguments->site)
            .toStdString());
    glasshob::HttpSession session{std::string(glasshob::Identity::userAgent)};
    glasshob::KeychainTokenStore tokens;
    glasshob::AccountModel account(site, session, tokens);
    glasshob::DialogQuestions questions;
    glasshob::UpdateChecker updates(session);
    glasshob::AppModel model({.questions = &questions,
                              .draftsFolder = glasshob::Drafts::standardFolder(),
                              .site = site,
                              .account = &account,
                              .updates = &updates});
    std::optional<glasshob::MainWindow> window;
    try {
        window.emplace(model);
    } catch (const glasshob::NoDevice& problem) {
        std::fprintf(stderr, "glasshob: %s\n", problem.what());
        if (QGuiApplication::platformName() == QLatin1String("offscreen")) return 1; // nobody could close a dialog
        QMessageBox box(QMessageBox::Critical, QStringLiteral("Glass Hob"), QString::fromUtf8(problem.what()),
                        QMessageBox::Close);
        box.exec();
        return 1;
    }
    questions.setWindow(&*window);
    QObject::connect(&instance, &glasshob::SingleInstance::requested, &*window,
                     [&](const glasshob::SingleInstance::Request& request) {
                         window->comeForward(request.activation);
                         if (!request.path.isEmpty()) model.openAfterQuestion(request.path);
                         if (!request.link.isEmpty()) model.links().open(request.link);
                     });
    // No time for questions: edits are kept for the next start, and half a video goes.
    const glasshob::EndRequests endRequests;
    QObject::connect(&endRequests, &glasshob::EndRequests::requested, &*window,
                     [](int signal) { QApplication::exit(128 + signal); });
    window->show();
    model.start(arguments->path.isEmpty() ? QStringList() : QStringList{QStringLiteral("--shader"), arguments->path});
    if (!arguments->link.isEmpty()) model.links().open(arguments->link);
    updates.checkIfDue();
    QTimer hourly; // a window may stay open for days
    QObject::connect(&hourly, &QTimer::timeout, &updates, &glasshob::UpdateChecker::checkIfDue);
    hourly.start(std::chrono::hours(1));
    const int status = QApplication::exec();
    if (!model.driverIsAtWork()) window.reset();
    account.finishSigningOut(std::chrono::seconds(3));
    if (model.driverIsAtWork()) {
        // An ordinary end would wait for what a driver is at work on, which may have no end.
        model.close();
        glasshob::UnfinishedPaths::removeAll();
        std::fflush(nullptr);
        std::_Exit(status);
    }
    return status;
}
