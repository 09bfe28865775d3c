#include "GlassHob/ui/window/EpisodeMenu.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHobCore/text/Text.h"

#include <QCoreApplication>
#include <QFile>
#include <QFontMetrics>
#include <QPointer>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace glasshob {

namespace {

// How long the window stands still for the disk.
constexpr std::chrono::milliseconds patience{80};
constexpr int mostTitleWidth = 420;

QString rowText(QString title, const QFont& font) {
    title.replace(u'\t', u' ');
    return QFontMetrics(font).elidedText(title, Qt::ElideRight, mostTitleWidth).replace(u'&', QStringLiteral("&&"));
}

} // namespace

struct EpisodeMenu::Reading {
    std::mutex lock;
    std::condition_variable ended;
    bool isDone = false;
    std::vector<EpisodeShelf::Shelved> episodes;
    QPointer<EpisodeMenu> menu; // main thread
};

EpisodeMenu::EpisodeMenu(QString ownFolder, QWidget* parent)
    : QMenu(tr("New From &Episode"), parent), ownFolder_(std::move(ownFolder)) {
    setToolTipsVisible(true);
    connect(this, &QMenu::aboutToShow, this, &EpisodeMenu::read);
}

void EpisodeMenu::read() {
    if (opensAgain_) return; // with what has just been read
    auto reading = std::make_shared<Reading>();
    reading->menu = this;
    reading_ = reading;
    runBeside([reading, folder = QFile::encodeName(ownFolder_).toStdString()] {
        auto episodes = EpisodeShelf::all(folder);
        {
            const std::lock_guard guard(reading->lock);
            reading->episodes = std::move(episodes);
            reading->isDone = true;
        }
        reading->ended.notify_all();
        QMetaObject::invokeMethod(
            qApp,
            [reading] {
                EpisodeMenu* menu = reading->menu;
                if (menu == nullptr || menu->reading_ != reading) return; // taken, or another reading has begun
                menu->take(reading->episodes);
                if (!menu->isVisible()) return;
                menu->opensAgain_ = true;
                menu->popup(menu->pos()); // at the size of what is in it now, on the screen
                menu->opensAgain_ = false;
            },
            Qt::QueuedConnection);
    });
    std::unique_lock guard(reading->lock);
    if (reading->ended.wait_for(guard, patience, [&] { return reading->isDone; })) {
        take(reading->episodes);
        return;
    }
    clear();
    addAction(tr("Reading the episodes…"))->setEnabled(false);
}

void EpisodeMenu::take(const std::vector<EpisodeShelf::Shelved>& episodes) {
    reading_.reset();
    clear();
    qDeleteAll(findChildren<QMenu*>(Qt::FindDirectChildrenOnly));
    for (const EpisodeShelf::Shelved& episode : episodes) {
        const QString title = asQString(episode.title);
        if (episode.problem.empty()) {
            addMenu(menuOf(episode));
            continue;
        }
        QAction* row = addAction(rowText(title, font()));
        row->setEnabled(false);
        row->setToolTip(asQString(episode.problem));
    }
    if (episodes.empty()) addAction(tr("The episodes are missing from the app"))->setEnabled(false);
}

QMenu* EpisodeMenu::menuOf(const EpisodeShelf::Shelved& episode) {
    auto* menu = new QMenu(
        rowText(tr("%1 · %2", "number and title").arg(episode.number).arg(asQString(episode.title)), font()), this);
    menu->menuAction()->setToolTip(QFile::decodeName(episode.folder.c_str()));
    // There may be hundreds of stages, of many episodes.
    connect(menu, &QMenu::aboutToShow, menu, [this, menu, episode] {
        if (!menu->isEmpty()) return;
        const auto add = [&](const QString& text, const std::string& entry) {
            menu->addAction(rowText(text, menu->font()), this,
                            [this, folder = episode.folder, entry] { emit chosen(folder, entry); });
        };
        for (std::size_t i = 0; i + 1 < episode.entries.size(); ++i)
            add(tr("%1 · %2", "number and title").arg(i + 1).arg(asQString(episode.entries[i].title)),
                episode.entries[i].name);
        menu->addSeparator();
        const QString last = asQString(episode.entries.back().title);
        add(last.isEmpty() ? tr("The Finished Shader") : tr("The Finished Shader: %1").arg(last),
            episode.entries.back().name);
    });
    return menu;
}

} // namespace glasshob
