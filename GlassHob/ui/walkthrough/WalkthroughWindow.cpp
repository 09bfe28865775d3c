#include "GlassHob/ui/walkthrough/WalkthroughWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/FileManager.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Segments.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/walkthrough/PageView.h"
#include "GlassHob/ui/walkthrough/WalkthroughList.h"
#include "GlassHob/ui/walkthrough/WalkthroughTexts.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QShortcut>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

namespace glasshob {

namespace {

constexpr QSize windowSize{1152, 670}, leastSize{720, 448}; // without the frame
constexpr int listWidth = 240, headingHeight = 40, barHeight = 48, lineHeight = 44, margin = 16;
constexpr int narrow = 480;      // of the page: what else is told of it has no room
constexpr int frameTime = 33;    // milliseconds
constexpr int resizeDelay = 120; // milliseconds
constexpr int mostMessage = 400;

// The film is looked at in its usual size; pages break alike in all of its proportions.
const ExportPreset& filmPreset() {
    return ExportPreset::web();
}

// Of plans with the same pages: whether their pictures are the same too.
bool looksAlike(const EpisodePlan& a, const EpisodePlan& b) {
    return a.parts() == b.parts() && a.choices().values == b.choices().values &&
           a.choices().hasMark == b.choices().hasMark;
}

} // namespace

WalkthroughWindow::WalkthroughWindow(AppModel& model, QWidget* parent) : QWidget(parent, Qt::Window), model_(model) {
    setAttribute(Qt::WA_DeleteOnClose);
    now = [] { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); };
    makeParts();
    makeKeys();
    setMinimumSize(leastSize.boundedTo(roomFor(this)));
    QWidget::resize(windowSize.boundedTo(roomFor(this)));
    new FocusRing(this);

    playTimer_.setInterval(frameTime);
    playTimer_.setTimerType(Qt::PreciseTimer);
    connect(&playTimer_, &QTimer::timeout, this, &WalkthroughWindow::playOn);
    resizeTimer_.setSingleShot(true);
    resizeTimer_.setInterval(resizeDelay);
    connect(&resizeTimer_, &QTimer::timeout, this, &WalkthroughWindow::followPageSize);
    connect(&pictures_, &WalkthroughPictures::drawn, this,
            [this](const QImage& picture, PagePlace place, std::int64_t number) {
                // Of a page that has been left meanwhile; where pages are played, the last picture goes on.
                if (place != place_ && !isPlaying()) return;
                if (number == wanted_) waits_ = false;
                page_->setImage(picture);
                emit pictureShown(place);
            });
    connect(&model_.episode(), &OpenEpisode::changed, this, &WalkthroughWindow::follow);
    connect(&model_.episodeExport(), &EpisodeExport::changed, this, [this] {
        if (model_.episodeExport().choices() != choices_) follow();
    });
    connect(&model_, &AppModel::documentChanged, this, &WalkthroughWindow::follow);
    connect(&model_, &AppModel::compiled, this, [this] { followPlace(false); });
    model_.episode().setNeed(this, OpenEpisode::Need::programs);
    follow();
    page_->setFocus();
}

WalkthroughWindow::~WalkthroughWindow() {
    disconnect(&model_.episode(), nullptr, this, nullptr);
    model_.episode().setNeed(this, OpenEpisode::Need::nothing);
}

void WalkthroughWindow::comeForward() {
    if (!isVisible() && parentWidget()) {
        // Over the main window, on its screen.
        const QRect screen(parentWidget()->screen()->availableGeometry().topLeft(), roomFor(parentWidget()));
        QRect box(QPoint(), QWidget::size());
        box.moveCenter(parentWidget()->frameGeometry().center());
        move(std::clamp(box.left(), screen.left(), std::max(screen.left(), screen.right() - box.width())),
             std::clamp(box.top(), screen.top(), std::max(screen.top(), screen.bottom() - box.height())));
    }
    show();
    raise();
    activateWindow();
}

// ---- Parts ----------------------------------------------------------------------------------------------------------

void WalkthroughWindow::makeParts() {
    auto* pages = new FilledPane(Role::panel, Qt::RightEdge, this);
    pages->setFixedWidth(listWidth);
    heading_ = new TextLine(fonts::heading(), Role::text, pages, tr("Pages"));
    count_ = new TextLine(fonts::body(), Role::text3, pages);
    auto* heading = new QHBoxLayout;
    heading->setContentsMargins(margin, 0, margin, 0);
    heading->setSpacing(8);
    heading->addWidget(heading_);
    heading->addWidget(count_);
    heading->addStretch();
    heading_->setFixedHeight(headingHeight);
    list_ = new WalkthroughList(pictures_, pages);
    auto* pagesColumn = new QVBoxLayout(pages);
    pagesColumn->setContentsMargins(0, 0, 1, 8);
    pagesColumn->setSpacing(0);
    pagesColumn->addLayout(heading);
    pagesColumn->addWidget(list_, 1);

    page_ = new PageView(this);

    auto* bar = new FilledPane(Role::panel, Qt::BottomEdge, this);
    bar->setFixedHeight(barHeight);
    back_ = new ToolButton(Icon::chevl, tr("Previous page"), bar);
    back_->setName(tr("Previous page"), tr("Left"));
    play_ = new ToolButton(Icon::play, tr("Play or pause"), bar);
    play_->setName(tr("Play or pause"), tr("Space"));
    on_ = new ToolButton(Icon::chevr, tr("Next page"), bar);
    on_->setName(tr("Next page"), tr("Right"));
    for (ToolButton* button : {back_, play_, on_})
        button->setInk(Role::text);
    cells_ = new PageCells(bar);
    placeText_ = new TextLine(fonts::menu(), Role::text2, bar);
    placeText_->setElides(true);
    size_ = new Segments(tr("Size of the page"), {tr("Whole"), tr("Phone")}, bar);
    size_->setToolTip(tr("Whole or Phone (P)"));
    auto* barRow = new QHBoxLayout(bar);
    barRow->setContentsMargins(margin, 0, margin, 1);
    barRow->setSpacing(4);
    barRow->addWidget(back_);
    barRow->addWidget(play_);
    barRow->addWidget(on_);
    barRow->addSpacing(8);
    barRow->addWidget(cells_);
    barRow->addSpacing(12);
    barRow->addWidget(placeText_);
    barRow->addStretch();
    barRow->addSpacing(8);
    barRow->addWidget(size_);

    auto* line = new FilledPane(Role::panel, {}, this);
    line->setFixedHeight(lineHeight);
    sign_ = new Sign(Icon::check, 16, Role::accentText, line);
    message_ = new TextLine(fonts::menu(), Role::text2, line);
    message_->setElides(true);
    facts_ = new TextLine(fonts::menu(), Role::text3, line);
    showFolder_ = new TextButton(tr("Show Folder"), TextButton::Look::bordered, line);
    lookAgain_ = new TextButton(tr("Look Again"), TextButton::Look::bordered, line);
    auto* lineRow = new QHBoxLayout(line);
    lineRow->setContentsMargins(margin, 0, margin, 0);
    lineRow->setSpacing(6);
    lineRow->addWidget(sign_);
    lineRow->addWidget(message_);
    lineRow->addStretch();
    lineRow->addSpacing(10);
    lineRow->addWidget(facts_);
    lineRow->addWidget(showFolder_);
    lineRow->addWidget(lookAgain_);

    auto* footer = new DialogFooter(this);
    summary_ = new TextLine(fonts::menu(), Role::text3, footer);
    summary_->setElides(true);
    close_ = new TextButton(tr("Close"), TextButton::Look::dialog, footer);
    export_ = new TextButton(tr("Export Episode…"), TextButton::Look::primary, footer);
    footer->row()->addWidget(summary_);
    footer->row()->addStretch();
    footer->row()->addWidget(close_);
    footer->row()->addWidget(export_);

    pane_ = new QWidget(this);
    auto* right = new QVBoxLayout(pane_);
    right->setContentsMargins(0, 0, 0, 0);
    right->setSpacing(0);
    right->addWidget(page_, 1);
    right->addWidget(bar);
    right->addWidget(line);
    auto* across = new QHBoxLayout;
    across->setSpacing(0);
    across->addWidget(pages);
    across->addWidget(pane_, 1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(across, 1);
    column->addWidget(footer);

    connect(list_, &WalkthroughList::picked, this, &WalkthroughWindow::turnTo);
    connect(cells_, &PageCells::picked, this, &WalkthroughWindow::turnTo);
    connect(back_, &QAbstractButton::clicked, this, [this] { turn(-1); });
    connect(on_, &QAbstractButton::clicked, this, [this] { turn(1); });
    connect(play_, &QAbstractButton::clicked, this, [this] { setPlaying(!isPlaying()); });
    connect(size_, &Segments::chosen, this,
            [this](int index) { page_->setSize(index == 0 ? PageView::Size::whole : PageView::Size::phone); });
    connect(page_, &PageView::resized, &resizeTimer_, QOverload<>::of(&QTimer::start));
    connect(showFolder_, &QAbstractButton::clicked, this, [this] { showInFileManager(*model_.filePath()); });
    connect(lookAgain_, &QAbstractButton::clicked, this, [this] { model_.episode().lookAgain(); });
    connect(close_, &QAbstractButton::clicked, this, &QWidget::close);
    export_->hide();
    connect(&Theme::instance(), &Theme::changed, this, QOverload<>::of(&QWidget::update));
}

void WalkthroughWindow::makeKeys() {
    const auto key = [this](const QKeySequence& keys, auto&& run) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, run);
    };
    for (const auto back : {Qt::Key_Left, Qt::Key_PageUp})
        key(back, [this] { turn(-1); });
    for (const auto on : {Qt::Key_Right, Qt::Key_PageDown})
        key(on, [this] { turn(1); });
    key(Qt::Key_Home, [this] { turnTo({0, 0}); });
    key(Qt::Key_End, [this] { turnTo(last()); });
    key(Qt::CTRL | Qt::Key_Up, [this] { turnStage(-1); });
    key(Qt::CTRL | Qt::Key_Down, [this] { turnStage(1); });
    key(Qt::Key_P, [this] { size_->setCurrent(1 - size_->current()); });
}

void WalkthroughWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
    } else if (event->key() == Qt::Key_Space) {
        setPlaying(!isPlaying());
    } else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        // A button that the keyboard has been led to, else the one to press.
        auto* focused = qobject_cast<QAbstractButton*>(focusWidget());
        if (focused || !export_->isHidden()) (focused ? focused : export_)->click();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void WalkthroughWindow::exportBy(QAction* exportEpisode) {
    const auto follow = [this, exportEpisode] { export_->setEnabled(exportEpisode->isEnabled()); };
    connect(exportEpisode, &QAction::changed, this, follow);
    connect(export_, &QAbstractButton::clicked, exportEpisode, &QAction::trigger);
    export_->show();
    follow();
}

// ---- What it follows ------------------------------------------------------------------------------------------------

void WalkthroughWindow::follow() {
    const OpenEpisode& open = model_.episode();
    if (model_.filePath() != path_) { // another document
        path_ = model_.filePath();
        place_ = {};
        page_->setImage({});
    }
    std::optional<EpisodePlan> plan = plan_;
    if (open.episode() != episode_ || model_.episodeExport().choices() != choices_) {
        episode_ = open.episode();
        choices_ = model_.episodeExport().choices();
        plan.reset();
        planFault_.clear();
    }
    if (!plan && planFault_.isEmpty() && episode_ && !episode_->stages.empty()) {
        EpisodeChoices choices = model_.episodeExport().planChoices();
        choices.hasWalkthrough = true;
        auto made =
            EpisodePlan::make(*episode_, filmPreset(), choices, open.stages().empty() ? nullptr : &open.stages());
        if (made)
            plan = std::move(*made);
        else
            planFault_ = asQString(made.error().sentence);
    }
    const bool hasOtherPages =
        hasPages() != (plan && !plan->stages().empty()) || (hasPages() && plan->stages() != plan_->stages());
    const EpisodePrograms programs = plan ? open.programs() : EpisodePrograms();
    const bool isOtherFilm = hasOtherPages || (plan && !looksAlike(*plan, *plan_));
    const bool hasOtherPrograms = programs.stages != programs_.stages;
    const auto programOf = [](const EpisodePrograms& of, std::size_t stage) {
        return stage < of.stages.size() ? of.stages[stage] : nullptr;
    };
    const bool isOtherHere = programOf(programs, place_.stage) != programOf(programs_, place_.stage);
    if (isOtherFilm || hasOtherPrograms) {
        plan_ = plan;
        programs_ = programs;
        pictures_.setPlan(plan_, programs_);
    }
    if (hasOtherPages) {
        painter_.reset();
        if (hasPages()) painter_ = std::make_unique<WalkthroughPainter>(plan_->frame(), plan_->stages());
        const auto stages = hasPages() ? plan_->stages() : std::vector<WalkthroughStage>();
        list_->setStages(stages);
        cells_->setStages(stages);
        if (!hasPages()) {
            playTimer_.stop();
            page_->setImage({});
        } else {
            place_.stage = std::min(place_.stage, stages.size() - 1);
            place_.page = std::min(place_.page, stages[place_.stage].pages.size() - 1);
        }
    } else if (isOtherFilm || hasOtherPrograms) {
        list_->wantPictures();
    }
    setWindowTitle(tr("Walkthrough of %1").arg(episode_ ? asQString(episode_->meta.title) : model_.displayName()));
    // Programs of other stages change nothing here, unless what was wanted has been given up for them. While pages are
    // played the next picture is wanted soon, and the page goes on.
    followPlace(isOtherFilm || (hasOtherPrograms && !isPlaying() && (isOtherHere || waits_)));
}

void WalkthroughWindow::followPlace(bool wantsPicture) {
    const bool has = hasPages();
    for (QWidget* part : {static_cast<QWidget*>(play_), static_cast<QWidget*>(size_), static_cast<QWidget*>(cells_)})
        part->setEnabled(has);
    back_->setEnabled(has && place_ != PagePlace());
    on_->setEnabled(has && place_ != last());
    play_->setIcon(isPlaying() ? Icon::pause : Icon::play);
    followMessages();
    page_->setNote(has ? QString() : note());
    if (!has) {
        count_->setText({});
        placeText_->setText({});
        summary_->setText({});
        page_->setAccessibleName(tr("No pages"));
        page_->setAccessibleDescription(note());
        return;
    }
    const std::vector<WalkthroughStage>& stages = plan_->stages();
    std::size_t count = 0;
    for (const WalkthroughStage& stage : stages)
        count += stage.pages.size();
    count_->setText(QString::number(count));
    list_->setCurrent(place_);
    cells_->setCurrent(place_);
    placeText_->setText(walkthroughTexts::place(stages, place_.stage, place_.page));
    summary_->setText(walkthroughTexts::summary(stages, plan_->choices().pageSeconds));
    const WalkthroughStage& stage = stages[place_.stage];
    page_->setAccessibleName(
        tr("Page %1 of stage %2, %3").arg(place_.page + 1).arg(place_.stage + 1).arg(asQString(stage.title)));
    page_->setAccessibleDescription(walkthroughTexts::spoken(stage, stage.pages[place_.page]));
    if (!wantsPicture) return;
    if (isPlaying()) {
        playStart_ = startOf(place_);
        playBegan_ = now();
        moment_ = playStart_;
    } else {
        moment_ = pageMoment(*plan_, place_.stage, place_.page);
    }
    want();
}

void WalkthroughWindow::want(WalkthroughPictures::Reason reason) {
    if (!hasPages() || pageSize_.isEmpty()) return;
    waits_ = true;
    wanted_ = pictures_.wantMoment(moment_, place_, reason);
}

void WalkthroughWindow::followPageSize() {
    const double scale = devicePixelRatioF();
    const QSize size = (QSizeF(page_->pageRect().size()) * scale).toSize();
    pictures_.setSmallSize((QSizeF(WalkthroughList::smallSize) * scale).toSize());
    if (size == pageSize_) return;
    pageSize_ = size;
    pictures_.setPageSize(size);
    want();
}

void WalkthroughWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    layout()->activate();
    pane_->layout()->activate();
    followPageSize();
}

void WalkthroughWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    facts_->setVisible(pane_->width() >= narrow && hasPages());
    placeText_->setVisible(pane_->width() >= narrow);
}

QString WalkthroughWindow::note() const {
    const OpenEpisode& open = model_.episode();
    switch (open.state()) {
    case OpenEpisode::State::nothing:
        return tr("This shader is not an episode. A line “// @episode 7 Title” at its top makes it one.");
    case OpenEpisode::State::notSaved: return open.advice();
    case OpenEpisode::State::noStages: return tr("No stages found. %1").arg(open.advice());
    case OpenEpisode::State::unreadable: return open.problem();
    case OpenEpisode::State::stageFault:
    case OpenEpisode::State::ready: break;
    }
    return messages_.value(0);
}

void WalkthroughWindow::followMessages() {
    const OpenEpisode& open = model_.episode();
    using enum OpenEpisode::State;
    messages_.clear();
    Icon icon = Icon::error;
    Role role = Role::error;
    if (open.state() == nothing || open.state() == notSaved || open.state() == noStages) {
        messages_ << note();
        icon = Icon::note;
        role = Role::note;
    } else {
        if (open.state() == unreadable) messages_ << open.problem();
        if (const auto& fault = open.fault()) messages_ << fault->text();
        if (const auto& fault = open.sourceFault()) messages_ << fault->text();
        if (!planFault_.isEmpty() && messages_.isEmpty()) messages_ << planFault_;
        // A compiler's words may hold a word of the source, however long.
        for (QString& message : messages_)
            if (message.size() > mostMessage) message = message.left(mostMessage) + u'…';
    }
    if (messages_.isEmpty() && model_.needsRun()) {
        messages_ << tr("The stages are drawn when the shader runs: press Run when you have read it.");
        icon = Icon::note;
        role = Role::note;
    }
    QString facts;
    if (painter_ != nullptr) {
        const PageFit fit = painter_->fit(place_.stage, place_.page);
        // Beside an error, what does not fit is of no matter yet.
        if (const QStringList warnings = walkthroughTexts::warnings(fit);
            !warnings.isEmpty() && (messages_.isEmpty() || role == Role::note)) {
            icon = Icon::warning;
            role = Role::warning;
            messages_ = warnings + messages_;
        }
        const WalkthroughStage& stage = plan_->stages()[place_.stage];
        facts = walkthroughTexts::facts(fit, !stage.pages[place_.page].caption.empty() || !stage.summary.empty());
    }
    if (messages_.isEmpty() && painter_ != nullptr) {
        icon = Icon::check;
        role = Role::accentText;
        messages_ << tr("Everything fits");
    }
    sign_->setSign(icon, role);
    sign_->setVisible(!messages_.isEmpty());
    // Without pages it stands where they would be.
    const bool isBelow = hasPages() || open.state() == unreadable || open.state() == stageFault;
    message_->setText(isBelow ? messages_.join(tr(" · ")) : messages_.value(0).section(QStringLiteral(". "), 0, 0));
    message_->setRole(role == Role::error ? Role::error : Role::text2);
    message_->setToolTip(plainToolTip(messages_.join(u'\n')));
    facts_->setText(facts);
    facts_->setVisible(!facts.isEmpty() && pane_->width() >= narrow);
    const bool looks = open.state() == noStages || open.state() == unreadable;
    showFolder_->setVisible(looks && model_.filePath());
    lookAgain_->setVisible(looks);
}

// ---- Turning and playing --------------------------------------------------------------------------------------------

PagePlace WalkthroughWindow::last() const {
    if (!hasPages()) return {};
    const std::vector<WalkthroughStage>& stages = plan_->stages();
    return {stages.size() - 1, stages.back().pages.size() - 1};
}

double WalkthroughWindow::startOf(PagePlace place) const {
    return pageMoment(*plan_, place.stage, place.page) - plan_->choices().pageSeconds / 2;
}

void WalkthroughWindow::turnTo(PagePlace place) {
    if (!hasPages()) return;
    place.stage = std::min(place.stage, plan_->stages().size() - 1);
    place.page = std::min(place.page, plan_->stages()[place.stage].pages.size() - 1);
    playedToEnd_ = false;
    if (place == place_) return;
    place_ = place;
    followPlace(true);
}

void WalkthroughWindow::turn(int pages) {
    if (!hasPages()) return;
    PagePlace to = place_;
    if (pages < 0 && to.page > 0)
        --to.page;
    else if (pages < 0 && to.stage > 0)
        to = {to.stage - 1, plan_->stages()[to.stage - 1].pages.size() - 1};
    else if (pages > 0 && to.page + 1 < plan_->stages()[to.stage].pages.size())
        ++to.page;
    else if (pages > 0 && to.stage + 1 < plan_->stages().size())
        to = {to.stage + 1, 0};
    turnTo(to);
}

void WalkthroughWindow::turnStage(int stages) {
    if (!hasPages()) return;
    const auto to = std::int64_t(place_.stage) + stages;
    if (to >= 0 && to < std::int64_t(plan_->stages().size())) turnTo({std::size_t(to), 0});
}

void WalkthroughWindow::setPlaying(bool plays) {
    if (plays == isPlaying() || (plays && !hasPages())) return;
    if (!plays) {
        playTimer_.stop();
        followPlace(false); // the picture stands still
        return;
    }
    if (std::exchange(playedToEnd_, false) && place_ == last()) place_ = {};
    playTimer_.start();
    followPlace(true);
}

void WalkthroughWindow::playOn() {
    const double pageSeconds = plan_->choices().pageSeconds;
    const double time = playStart_ + now() - playBegan_;
    if (time >= startOf(last()) + pageSeconds) {
        playedToEnd_ = true;
        place_ = last();
        setPlaying(false);
        return;
    }
    // The walkthrough is one stretch of the film.
    PagePlace place = place_;
    while (place != last() && time >= startOf(place) + pageSeconds)
        place = place.page + 1 < plan_->stages()[place.stage].pages.size() ? PagePlace{place.stage, place.page + 1}
                                                                           : PagePlace{place.stage + 1, 0};
    if (place != place_) {
        place_ = place;
        followPlace(false);
    }
    moment_ = time;
    want(WalkthroughPictures::Reason::played);
}

} // namespace glasshob
