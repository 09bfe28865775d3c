// What tests of the model hand it: a delay that elapses on demand, questions answered from a script, files of their
// own.
#pragma once

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

namespace glasshob {

class ManualDelay : public Delay {
  public:
    void start(double seconds, std::function<void()> action) override {
        seconds_ = seconds;
        action_ = std::move(action);
        ++starts;
    }
    void cancel() override { action_ = {}; }
    bool isWaiting() const override { return bool(action_); }
    void elapse() {
        if (auto action = std::exchange(action_, {})) action();
    }
    double seconds_ = 0;
    int starts = 0;

  private:
    std::function<void()> action_;
};

class ScriptedQuestions : public Questions {
  public:
    void ask(const Question& question, std::function<void(int)> answer) override {
        asked << question.message;
        last = question;
        if (holds)
            held = std::move(answer);
        else
            answer(choice);
    }
    void askText(const TextQuestion& question, std::function<void(std::optional<QString>)> answer) override {
        asked << question.message;
        lastText = question;
        answer(typed);
    }
    void warn(const QString& message, const QString& informativeText) override {
        warnings << message + u'|' + informativeText;
    }
    void chooseFileToOpen(const QString&, const QString&, std::function<void(std::optional<QString>)> answer) override {
        answer(path);
    }
    void chooseFileToSave(const QString&, const QString&, const QString& name,
                          std::function<void(std::optional<QString>)> answer) override {
        suggested = name;
        answer(path);
    }
    QStringList asked, warnings;
    Question last;
    TextQuestion lastText;
    std::optional<QString> typed;
    QString suggested;
    int choice = 0;
    bool holds = false;
    std::function<void(int)> held;
    std::optional<QString> path;
};

// Runs the event loop until it is so; false when it has not come about in a minute.
template <typename Condition>
bool comesTrue(Condition condition) {
    const QDeadlineTimer deadline(60000);
    QTimer look; // without it a wait would end with an event alone
    look.start(5);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    return condition();
}

inline std::string shader(const std::string& params, const std::string& color = "float4(1.0, 0.5, 0.25, 1.0)") {
    return params + "\nfloat4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    return " + color +
           ";\n}\n";
}

// A model on the system's device whose files and presets lie in a folder that goes away.
class AppModelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QSettings().clear();
        makeModel();
    }
    // Another one as a new process would: with the files, settings, presets and drafts that are there.
    void makeModel() {
        auto device = gpu::Device::systemDefault();
        ASSERT_TRUE(device) << device.error().description();
        auto delay = std::make_unique<ManualDelay>();
        delay_ = delay.get();
        auto draftDelay = std::make_unique<ManualDelay>(), sliderDelay = std::make_unique<ManualDelay>();
        model.reset(); // before its delays are forgotten
        draftDelay_ = draftDelay.get();
        sliderDelay_ = sliderDelay.get();
        model = std::make_unique<AppModel>(
            AppModel::Surroundings{.device = std::move(*device),
                                   .questions = &questions,
                                   .compileDelay = std::move(delay),
                                   .presetStore = PresetStore(folder.filePath("presets.json")),
                                   .sliderDelay = std::move(sliderDelay),
                                   .draftsFolder = folder.filePath("drafts"),
                                   .draftDelay = std::move(draftDelay),
                                   .movieMaker = movieMaker,
                                   .compilePatience = compilePatience,
                                   .site = site,
                                   .account = account});
        model->editorSink = [this](const std::string& text) { shown = text; };
    }
    QStringList drafts() const { return QDir(folder.filePath("drafts")).entryList({"*.json"}, QDir::Files); }
    QString file(const QString& name, const std::string& text) {
        const QString path = folder.filePath(name);
        QFile out(path);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(text.data(), qint64(text.size()));
        return path;
    }
    static std::string contents(const QString& path) {
        QFile in(path);
        return in.open(QIODevice::ReadOnly) ? in.readAll().toStdString() : "(unreadable)";
    }

    QTemporaryDir folder;
    ScriptedQuestions questions;
    ManualDelay *delay_ = nullptr, *draftDelay_ = nullptr, *sliderDelay_ = nullptr;
    // In the place of the video exporter, where a test sets one before the model is made.
    ExportJob::Exporter movieMaker;
    // A program is there when compile() returns, however busy the machine is.
    std::chrono::milliseconds compilePatience = std::chrono::minutes(2);
    Site site = Site::builtIn();
    AccountModel* account = nullptr;
    std::unique_ptr<AppModel> model;
    std::string shown;
};

} // namespace glasshob
