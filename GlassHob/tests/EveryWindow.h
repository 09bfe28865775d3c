// Every window, sheet and box of the program, one after the other, for who looks at all of them: the test that they fit
// a small screen, and the pictures of scripts/screenshots. Over a model of its own with the real dialogs, on the real
// platform.
#pragma once

#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobOnline/AccountModel.h"

#include <functional>
#include <memory>
#include <semaphore>

namespace glasshob {

class EveryWindow {
  public:
    // Called with what is up: its name, and the window to look at. What lies over the picture is a part of its window.
    using Visitor = std::function<void(const QString& name, QWidget* shown)>;

    // `geometry` is what the main window has kept of another start.
    explicit EveryWindow(Canvas::Kind canvas, const QByteArray& geometry = {});
    ~EveryWindow();

    void visitMainWindow(const Visitor& visit);
    void visitFullScreen(const Visitor& visit);
    void visitExports(const Visitor& visit);
    void visitVariations(const Visitor& visit);
    void visitWalkthrough(const Visitor& visit);
    void visitEpisodes(const Visitor& visit);
    void visitShare(const Visitor& visit);
    void visitAccount(const Visitor& visit);
    void visitHelp(const Visitor& visit);
    void visitQuestions(const Visitor& visit);
    void visitMenus(const Visitor& visit);

    MainWindow& window() { return *window_; }
    AppModel& model() { return *model_; }
    // Shows a text as the file of this name, compiled and drawn.
    void open(const QString& name, const std::string& text);
    // A sample by the name of its file.
    static std::string sample(const char* file);

  private:
    void settle();
    // To the gallery of this process.
    void signIn();
    // A bundled tutorial of its own, open.
    QString openEpisode();
    // Visits the dialog that is up over the window, and shuts it.
    void visitDialog(const Visitor& visit, const QString& name);
    QAction* action(const QString& title) const;

    // Where a result goes is asked only while no answer is known.
    class Questions : public DialogQuestions {
      public:
        void chooseFileToSave(const QString& message, const QString& folder, const QString& name,
                              std::function<void(std::optional<QString>)> answer) override {
            if (path)
                answer(path);
            else
                DialogQuestions::chooseFileToSave(message, folder, name, std::move(answer));
        }
        std::optional<QString> path;
    };

    QTemporaryDir folder_;
    Questions questions_;
    std::counting_semaphore<8> go_{0}; // the movie's frames
    std::atomic<bool> fails_ = false;
    ScriptedServer gallery_;
    HttpSession session_{"GlassHob/test"};
    MemoryTokenStore tokens_;
    std::unique_ptr<AccountModel> account_;
    std::unique_ptr<AppModel> model_;
    std::unique_ptr<MainWindow> window_;
};

} // namespace glasshob
