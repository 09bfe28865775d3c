#include "GlassHob/ui/controls/DialogQuestions.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Icons.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace glasshob {

namespace {

// A long word, such as a file's name, may be broken: a box would grow over the screen's edge otherwise.
QString breakable(const QString& text) {
    constexpr int longWord = 24;
    QString broken;
    int letters = 0;
    for (const QChar letter : text) {
        letters = letter.isSpace() ? 0 : letters + 1;
        broken += letter;
        if (letters < longWord || letter.isHighSurrogate()) continue;
        broken += QChar(0x200B); // a place to break that takes no room
        letters = 0;
    }
    return broken;
}

QMessageBox* makeBox(QWidget* window, const QString& message, const QString& informativeText) {
    auto* box = new QMessageBox(window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setText(breakable(message));
    box->setInformativeText(breakable(informativeText));
    box->setWindowTitle(QStringLiteral("Glass Hob"));
    // Two labels, found by the names Qt gives them; without them the texts just keep the ordinary font.
    if (auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))) label->setFont(fonts::statement());
    if (auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"))) {
        label->setFont(fonts::body());
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, themed(Role::text2));
        label->setPalette(palette);
    }
    // The grid keeps columns for an icon, 15 px wide, where there is none.
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout())) {
        grid->setContentsMargins(24 - 15, 24, 24, 20);
        grid->setHorizontalSpacing(0);
        grid->setVerticalSpacing(12);
    }
    return box;
}

// As wide as the other dialogs; a box takes no minimum width from outside.
void widen(QMessageBox* box) {
    constexpr int contents = 432 - 48;
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout()))
        grid->addItem(new QSpacerItem(contents, 0), grid->rowCount(), 0, 1, grid->columnCount());
}

} // namespace

QWidget* DialogQuestions::place() const {
    QWidget* front = QApplication::activeWindow();
    return front && window_ && front->parentWidget() == window_ && front->isVisible() ? front : window_.data();
}

void DialogQuestions::ask(const Question& question, std::function<void(int)> answer) {
    QMessageBox* box = makeBox(place(), question.message, question.informativeText);
    QList<QAbstractButton*> buttons;
    for (int i = 0; i < question.buttons.size(); ++i) {
        const auto role = i == question.escapeButton    ? QMessageBox::RejectRole
                          : i == question.defaultButton ? QMessageBox::AcceptRole
                                                        : QMessageBox::DestructiveRole;
        QPushButton* button = box->addButton(question.buttons[i], role);
        buttons << button;
        if (i == question.defaultButton) box->setDefaultButton(button);
        if (i == question.escapeButton) box->setEscapeButton(button);
    }
    widen(box);
    QObject::connect(box, &QDialog::finished, box,
                     [box, buttons, escape = question.escapeButton, answer = std::move(answer)] {
                         const qsizetype chosen = buttons.indexOf(box->clickedButton());
                         answer(chosen >= 0 ? int(chosen) : escape);
                     });
    box->open();
}

void DialogQuestions::askText(const TextQuestion& question, std::function<void(std::optional<QString>)> answer) {
    QMessageBox* box = makeBox(place(), question.message, question.informativeText);
    QPushButton* accept = box->addButton(question.acceptButton, QMessageBox::AcceptRole);
    QPushButton* cancel = box->addButton(QMessageBox::tr("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(accept);
    box->setEscapeButton(cancel);
    auto* field = new QLineEdit(box);
    field->setFixedSize(240, 24);
    field->setTextMargins(6, 0, 6, 0);
    field->setPlaceholderText(question.placeholder);
    field->setText(question.text);
    field->selectAll();
    field->setAccessibleName(question.placeholder);
    // Under the texts, which share the grid's last column, and over the row of buttons.
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout())) {
        const auto* informative = box->findChild<QWidget*>(QStringLiteral("qt_msgbox_informativelabel"));
        int row = grid->rowCount() - 1, column = grid->columnCount() - 1, rows = 1, columns = 1;
        if (const int index = informative ? grid->indexOf(const_cast<QWidget*>(informative)) : -1; index >= 0)
            grid->getItemPosition(index, &row, &column, &rows, &columns);
        QLayoutItem* buttons = grid->takeAt(grid->indexOf(box->findChild<QDialogButtonBox*>()));
        grid->addWidget(field, row + 1, column, 1, columns);
        grid->addItem(buttons, row + 2, 0, 1, grid->columnCount());
    }
    QObject::connect(box, &QDialog::finished, box, [box, field, accept, answer = std::move(answer)] {
        answer(box->clickedButton() == accept ? std::optional(field->text()) : std::nullopt);
    });
    box->open();
    field->setFocus();
}

void DialogQuestions::warn(const QString& message, const QString& informativeText) {
    QMessageBox* box = makeBox(place(), message, informativeText);
    box->setIconPixmap(iconPixmap(Icon::warning, 32, themed(Role::warning), box->devicePixelRatioF()));
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout())) {
        grid->setContentsMargins(24, 24, 24, 20);
        grid->setHorizontalSpacing(6);
    }
    box->addButton(QMessageBox::Ok);
    widen(box);
    box->open();
}

void DialogQuestions::chooseFileToOpen(const QString& message, const QString& folder,
                                       std::function<void(std::optional<QString>)> answer) {
    auto* dialog = new QFileDialog(place(), message, folder, QObject::tr("Shaders (*.metal);;All files (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->resize(dialog->sizeHint().boundedTo(roomFor(dialog)));
    dialog->setFileMode(QFileDialog::ExistingFile);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, answer = std::move(answer)](int result) {
        const QStringList files = dialog->selectedFiles();
        answer(result == QDialog::Accepted && !files.isEmpty() ? std::optional(files.first()) : std::nullopt);
    });
    dialog->open();
}

void DialogQuestions::chooseFileToSave(const QString& message, const QString& folder, const QString& name,
                                       std::function<void(std::optional<QString>)> answer) {
    auto* dialog = new QFileDialog(place(), message, folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->resize(dialog->sizeHint().boundedTo(roomFor(dialog)));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    const QString suffix = name.section(u'.', -1);
    dialog->setDefaultSuffix(suffix);
    dialog->setNameFilter(QStringLiteral("*.%1").arg(suffix));
    dialog->selectFile(name);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, answer = std::move(answer)](int result) {
        const QStringList files = dialog->selectedFiles();
        answer(result == QDialog::Accepted && !files.isEmpty() ? std::optional(files.first()) : std::nullopt);
    });
    dialog->open();
}

void DialogQuestions::chooseShaderToSave(const QString& message, const QString& folder, const QString& name,
                                         std::function<void(std::optional<QString>)> answer) {
    auto* dialog = new QFileDialog(place(), message, folder, QObject::tr("Shaders (*.metal);;All files (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->resize(dialog->sizeHint().boundedTo(roomFor(dialog)));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("metal"));
    dialog->selectFile(name);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, answer = std::move(answer)](int result) {
        const QStringList files = dialog->selectedFiles();
        answer(result == QDialog::Accepted && !files.isEmpty() ? std::optional(files.first()) : std::nullopt);
    });
    dialog->open();
}

} // namespace glasshob
