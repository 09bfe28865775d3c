#include "GlassHob/ui/window/UpdateBox.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/ShownText.h"
#include "GlassHobCore/text/Text.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QUrl>
#include <QVBoxLayout>

namespace glasshob {

namespace {

// Characters of texts that come from elsewhere; what is longer is cut.
constexpr int longestVersion = 40, longestLine = 300, longestNotes = 4000, longestSum = 128;

QLabel* textLabel(const QString& text, const QFont& font, const QString& name, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setFont(font);
    label->setFixedWidth(dialogTextWidth);
    label->setAccessibleName(name);
    return label;
}

} // namespace

QString UpdateBox::title(const LatestRelease& release) {
    return tr("Glass Hob %1 is available.").arg(shownText(release.version, longestVersion).simplified());
}

QString UpdateBox::line(const LatestRelease& release) {
    return shownText(release.notes.value_or(""), longestLine).simplified();
}

void UpdateBox::get(const LatestRelease& release) {
    QDesktopServices::openUrl(QUrl(asQString(release.url), QUrl::StrictMode));
}

UpdateBox::UpdateBox(const LatestRelease& release, QWidget* window) : QDialog(window) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("A newer Glass Hob"));
    auto* page = new DialogPage(this);
    FilledPane* const ground = page->ground();
    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(dialogMargin, dialogMargin, dialogMargin, dialogMargin);
    body->setSpacing(8);
    body->addWidget(new WrappedText(fonts::statement(), Role::text, dialogTextWidth, ground, title(release)));
    body->addWidget(new WrappedText(fonts::body(), Role::text2, dialogTextWidth, ground,
                                    tr("You have version %1.").arg(asQString(Identity::version))));
    if (const QString notes = shownText(release.notes.value_or(""), longestNotes).trimmed(); !notes.isEmpty()) {
        body->addSpacing(8);
        QLabel* const label = textLabel(notes, fonts::body(), tr("What is new"), ground);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        label->setFocusPolicy(Qt::NoFocus);
        body->addWidget(label);
    }
    const QString sum = shownText(release.sha256.value_or(""), longestSum).simplified();
    if (!sum.isEmpty()) {
        body->addSpacing(8);
        body->addWidget(new WrappedText(fonts::small(), Role::text3, dialogTextWidth, ground,
                                        tr("SHA-256 of the file, to compare with what sha256sum says of it")));
        QString broken = sum;
        if (sum.size() > 32) broken.insert(32, QChar(0x200B)); // in two lines
        body->addWidget(textLabel(broken, fonts::mono(12), tr("SHA-256"), ground));
    }

    DialogFooter* const footer = page->footer();
    auto* close = new TextButton(tr("Close"), TextButton::Look::dialog, footer);
    auto* get = new TextButton(tr("Get It"), TextButton::Look::primary, footer, Icon::ext);
    if (!sum.isEmpty()) {
        auto* copy = new TextButton(tr("Copy SHA-256"), TextButton::Look::bordered, footer, Icon::copy);
        copy->setFixedHeight(32);
        footer->row()->addWidget(copy);
        connect(copy, &QAbstractButton::clicked, this, [sum] { QGuiApplication::clipboard()->setText(sum); });
    }
    footer->row()->addStretch(1);
    for (TextButton* button : {close, get}) {
        button->setFixedHeight(32);
        footer->row()->addWidget(button);
    }
    connect(close, &QAbstractButton::clicked, this, &QDialog::accept);
    connect(get, &QAbstractButton::clicked, this, [this, release] {
        UpdateBox::get(release);
        accept();
    });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(page);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    new FocusRing(this);
    get->setFocus();
}

} // namespace glasshob
