#include "GlassHob/ui/window/SampleMenu.h"

#include "GlassHob/model/SampleThumbnails.h"
#include "GlassHob/ui/controls/HobStyle.h"
#include "GlassHobCore/shader/SampleShelf.h"

#include <QActionEvent>
#include <QImage>

namespace glasshob {

SampleMenu::SampleMenu(SampleThumbnails* thumbnails, QWidget* parent)
    : QMenu(tr("New From &Sample"), parent), thumbnails_(thumbnails) {
    if (thumbnails_ != nullptr) setProperty(menuPictureProperty, SampleThumbnails::size / 2);
    connect(this, &QMenu::aboutToShow, this, &SampleMenu::fill);
    if (thumbnails_ != nullptr)
        connect(thumbnails_, &SampleThumbnails::drawn, this,
                [this](const QString& file, const QImage& picture) { setPicture(file.toStdString(), picture); });
}

void SampleMenu::fill() {
    if (!entries_.empty()) return;
    const std::vector<SampleShelf::Sample> samples = SampleShelf::all();
    for (const SampleShelf::Sample& sample : samples) {
        QString title = QString::fromStdString(sample.title);
        const QString file = QString::fromStdString(sample.file);
        QAction* entry = addAction(title.replace(u'&', QStringLiteral("&&")));
        connect(entry, &QAction::triggered, this, [this, file] { emit chosen(file); });
        entries_[sample.file] = entry;
    }
    if (thumbnails_ != nullptr) thumbnails_->draw(samples);
}

void SampleMenu::actionEvent(QActionEvent* event) {
    // A picture that has come changes no row's size; the menu would take its whole height, past the screen's edge.
    if (event->type() == QEvent::ActionChanged && isVisible())
        update();
    else
        QMenu::actionEvent(event);
}

void SampleMenu::setPicture(const std::string& file, const QImage& picture) {
    const auto entry = entries_.find(file);
    if (entry != entries_.end()) entry->second->setIcon(QIcon(QPixmap::fromImage(picture)));
}

} // namespace glasshob
