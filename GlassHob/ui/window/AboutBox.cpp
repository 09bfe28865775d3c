#include "GlassHob/ui/window/AboutBox.h"

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/AppIcon.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"

#include <QClipboard>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int iconSide = 72;

} // namespace

AboutBox::AboutBox(const AppModel& model, QWidget* window) : QDialog(window) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("About Glass Hob"));
    const gpu::DeviceInfo& device = model.device()->info();
    const std::pair<QString, QString> rows[] = {
        {tr("Version"), asQString(Identity::version)},
        {tr("Graphics"), QString::fromStdString(device.name)},
        {tr("Driver"), QString::fromStdString(device.driver)},
        {tr("Vulkan"), QString::fromStdString(device.vulkanVersion)},
        {tr("Desktop"), tr("%1, Qt %2").arg(QGuiApplication::platformName(), QString::fromLatin1(qVersion()))},
        {tr("Licence"), QStringLiteral("MIT")},
    };

    auto* page = new DialogPage(this);
    FilledPane* const ground = page->ground();
    auto* icon = new QLabel(ground);
    QImage picture = applicationIconImage(qRound(iconSide * devicePixelRatioF()));
    picture.setDevicePixelRatio(devicePixelRatioF());
    icon->setPixmap(QPixmap::fromImage(picture));
    auto* name = new TextLine(fonts::ui(17, QFont::Bold), Role::text, ground, asQString(Identity::applicationName));
    auto* purpose = new TextLine(fonts::body(), Role::text2, ground, tr("Write, run and publish small GPU shaders."));
    auto* table = new QGridLayout;
    table->setHorizontalSpacing(16);
    table->setVerticalSpacing(6);
    table->setColumnStretch(1, 1);
    int row = 0;
    for (const auto& [title, text] : rows) {
        auto* value = new QLabel(text, ground);
        value->setTextFormat(Qt::PlainText);
        value->setWordWrap(true);
        value->setFont(fonts::small());
        value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        value->setFocusPolicy(Qt::NoFocus);
        value->setAccessibleName(title);
        auto* head = new TextLine(fonts::small(), Role::text3, ground, title);
        table->addWidget(head, row, 0, Qt::AlignTop);
        table->addWidget(value, row, 1);
        details_ += title + QStringLiteral(": ") + text + u'\n';
        ++row;
    }

    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(24, 24, 24, 24);
    body->setSpacing(0);
    auto* head = new QHBoxLayout;
    head->setSpacing(20);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    titles->addStretch(1);
    titles->addWidget(name);
    titles->addWidget(purpose);
    titles->addStretch(1);
    head->addWidget(icon);
    head->addLayout(titles, 1);
    body->addLayout(head);
    body->addSpacing(20);
    body->addLayout(table);

    DialogFooter* const footer = page->footer();
    QHBoxLayout* const buttons = footer->row();
    auto* copy = new TextButton(tr("Copy Details"), TextButton::Look::bordered, footer, Icon::copy);
    auto* close = new TextButton(tr("Close"), TextButton::Look::primary, footer);
    for (TextButton* button : {copy, close})
        button->setFixedHeight(32);
    close->setMinimumWidth(88);
    buttons->addWidget(copy);
    buttons->addStretch(1);
    buttons->addWidget(close);
    connect(copy, &QAbstractButton::clicked, this, [this] { QGuiApplication::clipboard()->setText(details_); });
    connect(close, &QAbstractButton::clicked, this, &QDialog::accept);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(page);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    new FocusRing(this);
    close->setFocus();
}

} // namespace glasshob
