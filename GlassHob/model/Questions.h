// What the model asks of a person. The window answers with dialogs, tests answer at once. Every call returns
// immediately; the answer arrives later through the continuation, on the main thread, exactly once. No call opens a
// nested event loop, so the picture and the model keep running.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <utility>

namespace glasshob {

struct Question {
    QString message;
    QString informativeText;
    // In the order of the text.
    QStringList buttons;
    // What Return means.
    int defaultButton = 0;
    // What Escape and the close button mean: the choice that loses nothing.
    int escapeButton = 0;
};

// Asks for one line of text; Escape gives none.
struct TextQuestion {
    QString message;
    QString informativeText;
    QString placeholder;
    QString acceptButton;
    QString text = {}; // what the field holds at first, selected
};

class Questions {
  public:
    virtual ~Questions() = default;

    // `answer` gets the index of the button chosen.
    virtual void ask(const Question& question, std::function<void(int)> answer) = 0;
    // `answer` gets the text as it was typed, or nothing when cancelled.
    virtual void askText(const TextQuestion& question, std::function<void(std::optional<QString>)> answer) = 0;
    // Something went wrong; nothing to choose.
    virtual void warn(const QString& message, const QString& informativeText) = 0;
    // A file to open; nothing when cancelled.
    virtual void chooseFileToOpen(const QString& message, const QString& folder,
                                  std::function<void(std::optional<QString>)> answer) = 0;
    // Where to save; nothing when cancelled. The panel has asked about an existing file.
    virtual void chooseFileToSave(const QString& message, const QString& folder, const QString& name,
                                  std::function<void(std::optional<QString>)> answer) = 0;
    // The same for a shader, whatever its present name ends with: a panel for ".metal" files.
    virtual void chooseShaderToSave(const QString& message, const QString& folder, const QString& name,
                                    std::function<void(std::optional<QString>)> answer) {
        chooseFileToSave(message, folder, name, std::move(answer));
    }
};

} // namespace glasshob
