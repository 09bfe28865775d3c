#include "GlassHob/ui/export/OwnPicture.h"

#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHobCore/shader/ExportFormats.h"

#include <QGridLayout>

namespace glasshob {

namespace {

constexpr int fieldGap = 12;
constexpr int rowGap = 2; // and the grid's own spacing on both sides

QString nameOf(const PictureSize& size) {
    return OwnPicture::tr("%1 · %2×%3")
        .arg(QString::fromLatin1(size.name.data(), qsizetype(size.name.size())))
        .arg(size.width)
        .arg(size.height);
}

} // namespace

OwnPicture::OwnPicture(Asks asks, QWidget* parent) : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(fieldGap);
    grid->setVerticalSpacing(5);
    const auto place = [&](QWidget* field, int row, int column, int columns) {
        auto* label = new TextLine(fonts::fieldLabel(), Role::text2, this, field->accessibleName());
        label->setFixedHeight(17);
        grid->addWidget(label, 3 * row, column, 1, columns);
        grid->addWidget(field, 3 * row + 1, column, 1, columns);
    };
    const auto number = [&](const QString& name, const QString& unit) {
        auto* made = new SearchField(name, {}, this);
        made->setFixedHeight(32);
        made->setMinimumWidth(80);
        made->setCounter(unit);
        connect(made, &QLineEdit::textEdited, this, [this] {
            followSides();
            emit edited();
        });
        connect(made, &QLineEdit::editingFinished, this, &OwnPicture::left);
        return made;
    };
    QStringList shapes;
    for (const PictureSize& size : pictureSizes())
        shapes.append(nameOf(size));
    shape_ = new ChoiceField(tr("Shape"), shapes, {}, this);
    width_ = number(tr("Width"), tr("px"));
    height_ = number(tr("Height"), tr("px"));
    if (asks == Asks::sizeAndRate) rate_ = number(tr("Rate"), tr("fps"));
    const int columns = rate_ ? 3 : 2;
    place(shape_, 0, 0, columns);
    place(width_, 1, 0, 1);
    place(height_, 1, 1, 1);
    if (rate_) place(rate_, 1, 2, 1);
    grid->setRowMinimumHeight(2, rowGap);
    connect(shape_, &ChoiceField::chosen, this, [this](int index) {
        const PictureSize& size = pictureSizes()[std::size_t(index)];
        width_->setText(QString::number(size.width));
        height_->setText(QString::number(size.height));
        emit edited();
    });
}

void OwnPicture::setPicture(std::int64_t width, std::int64_t height, std::int64_t fps) {
    width_->setText(QString::number(width));
    height_->setText(QString::number(height));
    if (rate_) rate_->setText(QString::number(fps));
    followSides();
}

void OwnPicture::followSides() {
    int index = 0;
    for (const PictureSize& size : pictureSizes()) {
        if (width_->text() == QString::number(size.width) && height_->text() == QString::number(size.height)) {
            shape_->setCurrent(index);
            return;
        }
        ++index;
    }
    shape_->setCurrent(-1, tr("Own"));
}

} // namespace glasshob
