// Answers the model's questions with dialogs over the window. Every dialog is opened, never run in a loop of its own.
// Main thread; owned by the model's owner, and made before the model.
#pragma once

#include "GlassHob/model/Questions.h"

#include <QPointer>
#include <QWidget>

namespace glasshob {

class DialogQuestions : public Questions {
  public:
    // Dialogs open over this window from now on, or over the one of its own that is in front.
    void setWindow(QWidget* window) { window_ = window; }

    void ask(const Question& question, std::function<void(int)> answer) override;
    void askText(const TextQuestion& question, std::function<void(std::optional<QString>)> answer) override;
    void warn(const QString& message, const QString& informativeText) override;
    void chooseFileToOpen(const QString& message, const QString& folder,
                          std::function<void(std::optional<QString>)> answer) override;
    void chooseFileToSave(const QString& message, const QString& folder, const QString& name,
                          std::function<void(std::optional<QString>)> answer) override;
    void chooseShaderToSave(const QString& message, const QString& folder, const QString& name,
                            std::function<void(std::optional<QString>)> answer) override;

  private:
    QWidget* place() const;

    QPointer<QWidget> window_;
};

} // namespace glasshob
