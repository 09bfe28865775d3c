#include "GlassHob/ui/window/MainWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/SampleThumbnails.h"
#include "GlassHob/ui/account/AccountActions.h"
#include "GlassHob/ui/controls/Banner.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/FileManager.h"
#include "GlassHob/ui/controls/PaneSplitter.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/export/ExportActions.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/share/ShareActions.h"
#include "GlassHob/ui/sliders/Inspector.h"
#include "GlassHob/ui/sliders/PresetActions.h"
#include "GlassHob/ui/sliders/PresetColumn.h"
#include "GlassHob/ui/variations/VariationActions.h"
#include "GlassHob/ui/walkthrough/WalkthroughActions.h"
#include "GlassHob/ui/window/Accessibility.h"
#include "GlassHob/ui/window/Banners.h"
#include "GlassHob/ui/window/CloseGuard.h"
#include "GlassHob/ui/window/EditMenu.h"
#include "GlassHob/ui/window/EpisodeMenu.h"
#include "GlassHob/ui/window/FullScreen.h"
#include "GlassHob/ui/window/HelpMenu.h"
#include "GlassHob/ui/window/PaneFocus.h"
#include "GlassHob/ui/window/Panes.h"
#include "GlassHob/ui/window/RecentMenu.h"
#include "GlassHob/ui/window/SampleMenu.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHob/ui/window/StatusLine.h"
#include "GlassHob/ui/window/Toolbar.h"
#include "GlassHobCore/episode/VariationsLine.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr QSize firstSize{1440, 900};
constexpr QSize leastSize{720, 480};
constexpr QSize leastPicture{320, 180}, smallPicture{240, 48};
constexpr int leastEditor = 320, smallEditor = 300;
constexpr int leastInspector = 120, smallInspector = 76;
constexpr int firstEditorWidth = 620;
constexpr int firstInspectorHeight = 244;
constexpr int barsHeight = 28 + 44 + 26; // menu bar, toolbar, status line
constexpr int denseBelow = 720;          // heights of the window

// Keys of the settings.
constexpr auto geometryKey = "window/geometry";
constexpr auto acrossKey = "window/editorAndPicture";
constexpr auto downKey = "window/pictureAndInspector";
constexpr auto editorKey = "window/showsEditor";
constexpr auto inspectorKey = "window/showsInspector";
constexpr auto wrapKey = "editor/wrapsLines";
constexpr auto codeSizeKey = "editor/codeSize";
constexpr int defaultCodeSize = 13;

} // namespace

MainWindow::MainWindow(AppModel& model, Canvas::Kind canvas) : model_(model) {
    installAccessibleViews();
    // The picture has a surface of its own; the panes beside it need none.
    QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
    setAttribute(Qt::WA_NativeWindow); // before the picture's child window is made
    makeActions();

    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    toolbar_ = new Toolbar(model_,
                           {showEditor_, showInspector_, new_, open_, save_, picture_->backToStart,
                            picture_->pauseOrPlay, picture_->stepFrame, picture_->hearSound, picture_->saveStill,
                            exporting_->exportVideo, sharing_->share, account_->open},
                           central);
    across_ = new PaneSplitter(Qt::Horizontal, central);
    editorPane_ = new EditorPane(model_, across_);
    down_ = new PaneSplitter(Qt::Vertical, across_);
    across_->addWidget(editorPane_);
    across_->addWidget(down_);
    status_ = new StatusLine(model_, central);
    column->addWidget(toolbar_);
    column->addWidget(across_, 1);
    column->addWidget(status_);
    setCentralWidget(central);
    banners_ = new Banners(model_, this);
    for (const Banner* banner : {banners_->acrossWindow(), banners_->overEditor()})
        connect(banner, &Banner::keyboardFreed, this, [this] { editor()->setFocus(); });
    placeBanners();

    // Not before, as this waits for the graphics drivers, which may still be loading.
    canvas_ = Canvas::make(model_, nullptr, canvas);
    previewPane_ = new PreviewPane(model_, canvas_, *picture_, down_);
    sliders_ = new InspectorHost(model_, down_);
    sliders_->setPicture(canvas_);
    picture_->setCanvas(canvas_);
    fullScreen_ = new FullScreen(model_, *picture_, canvas_, sliders_, this);
    down_->addWidget(previewPane_);
    down_->addWidget(sliders_);
    across_->setCollapsible(0, true);
    down_->setCollapsible(1, true);
    makeMenus();
    new FocusRing(this);
    makePaneOrder();

    connect(across_, &QSplitter::splitterMoved, this, [this] {
        hideCollapsed(across_, 0);
        followLayout();
    });
    connect(down_, &QSplitter::splitterMoved, this, [this] { hideCollapsed(down_, 1); });
    connect(editor(), &CodeEditor::caretMoved, status_, &StatusLine::setCaret);
    connect(editor(), &CodeEditor::parameterPicked, this, [this](const QString& name) {
        setShowsInspector(true);
        inspector()->focusParameter(name);
    });
    connect(sliders_, &InspectorHost::showsChanged, showInspector_, &QAction::setChecked);
    connect(inspector(), &Inspector::insertRequested, this, [this](const QString& line) {
        editor()->insertLine(line);
        editor()->setFocus();
    });
    connect(previewPane_, &PreviewPane::coveredHeightChanged, sliders_, &InspectorHost::setTopInset);
    connect(previewPane_, &PreviewPane::goToRequested, this, [this] { model_.setShowsEditor(true); });
    connect(previewPane_, &PreviewPane::goToRequested, editor(), &CodeEditor::goTo);
    connect(canvas_, &Canvas::pixelSizeChanged, this, [this] { status_->setDrawnSize(canvas_->pixelSize()); });
    auto openDropped = [this](const QStringList& paths) { model_.openAfterQuestion(paths.first()); };
    connect(canvas_, &Canvas::filesDropped, this, openDropped);
    connect(editor(), &CodeEditor::filesDropped, this, openDropped);
    connect(&model_, &AppModel::documentChanged, this, &MainWindow::followDocument);
    connect(&model_, &AppModel::compiled, this, &MainWindow::followDocument);
    connect(&model_, &AppModel::valueChanged, this, &MainWindow::followDocument);
    connect(&model_, &AppModel::valuesReset, this, &MainWindow::followDocument);
    connect(&model_, &AppModel::showsEditorChanged, this, &MainWindow::followShowsEditor);
    connect(fullScreen_, &FullScreen::changed, this, &MainWindow::followShowsEditor);
    connect(picture_, &PictureActions::told, status_, &StatusLine::tell);
    status_->setCaret(1, 1);
    fitScreen();
    restoreLayout();
    followDocument();
    editor()->setFocus();
}

MainWindow::~MainWindow() = default;

CodeEditor* MainWindow::editor() const {
    return editorPane_->editor();
}
Inspector* MainWindow::inspector() const {
    return sliders_->inspector();
}
MessageList* MainWindow::messages() const {
    return editorPane_->messages();
}

void MainWindow::makeActions() {
    auto action = [this](const QString& text, const QKeySequence& shortcut, auto&& run) {
        auto* made = new QAction(text, this);
        made->setShortcut(shortcut);
        connect(made, &QAction::triggered, this, std::forward<decltype(run)>(run));
        addAction(made);
        return made;
    };
    using Keys = QKeySequence;
    new_ = action(tr("&New"), Keys::New, [this] { model_.newShader(); });
    open_ = action(tr("&Open…"), Keys::Open, [this] { model_.chooseAndOpen(); });
    openSample_ = action(tr("Open &Sample"), {}, [this] { model_.openSampleAfterQuestion(); });
    save_ = action(tr("&Save"), Keys::Save, [this] { model_.save(); });
    saveAs_ = action(tr("Save &As…"), Keys(tr("Ctrl+Shift+S")), [this] { model_.saveAs(); });
    revert_ = action(tr("&Revert"), {}, [this] { model_.revert(); });
    showInFiles_ =
        action(tr("Show in &File Manager"), Keys(tr("Ctrl+Alt+R")), [this] { showInFileManager(*model_.filePath()); });
    quit_ = action(tr("&Quit"), Keys(tr("Ctrl+Q")), [this] { close(); });
    quit_->setMenuRole(QAction::QuitRole);

    undo_ = action(tr("&Undo"), Keys::Undo, [this] { editor()->undo(); });
    redo_ = action(tr("&Redo"), Keys(tr("Ctrl+Shift+Z")), [this] { editor()->redo(); });
    cut_ = action(tr("Cu&t"), {}, [this] { editor()->cut(); });
    copy_ = action(tr("&Copy"), {}, [this] { editor()->copy(); });
    paste_ = action(tr("&Paste"), {}, [this] { editor()->paste(); });
    selectAll_ = action(tr("Select &All"), {}, [this] { editor()->selectAll(); });
    // The editor and the value fields handle these keys themselves; the menu only names them.
    cut_->setText(cut_->text() + QStringLiteral("\tCtrl+X"));
    copy_->setText(copy_->text() + QStringLiteral("\tCtrl+C"));
    paste_->setText(paste_->text() + QStringLiteral("\tCtrl+V"));
    selectAll_->setText(selectAll_->text() + QStringLiteral("\tCtrl+A"));
    nextProblem_ = action(tr("Next &Problem"), Keys(tr("F8")), [this] { messages()->step(1); });
    previousProblem_ = action(tr("Previous P&roblem"), Keys(tr("Shift+F8")), [this] { messages()->step(-1); });

    compileNow_ = action(tr("&Compile Now"), Keys(tr("Ctrl+B")), [this] { model_.compileNow(); });
    picture_ = new PictureActions(model_, this);
    exporting_ = new ExportActions(model_, this);
    account_ = new AccountActions(model_, this);
    variations_ = new VariationActions(model_, this);
    connect(variations_, &VariationActions::writeWanted, this, &MainWindow::writeVariations);
    walkthrough_ = new WalkthroughActions(model_, this);
    walkthrough_->exportBy(exporting_->exportEpisode);
    connect(exporting_, &ExportActions::previewAsked, walkthrough_, &WalkthroughActions::open);
    connect(exporting_, &ExportActions::variationsAsked, variations_, &VariationActions::open);
    sharing_ = new ShareActions(model_, this);
    closeGuard_ = new CloseGuard(model_, this);
    connect(exporting_, &ExportActions::wanted, this, [this] { comeForward({}); });
    resetAll_ = action(tr("R&eset All Sliders"), Keys(tr("Ctrl+Alt+0")), [this] { model_.resetAllValues(); });
    undoSliders_ = action(tr("&Undo Slider Change"), Keys(tr("Ctrl+Alt+Z")), [this] { model_.undoSliders(); });
    redoSliders_ = action(tr("Re&do Slider Change"), Keys(tr("Ctrl+Alt+Shift+Z")), [this] { model_.redoSliders(); });

    showEditor_ = action(tr("Show &Editor"), Keys(tr("Ctrl+1")), [this](bool on) { model_.setShowsEditor(on); });
    showInspector_ = action(tr("Show &Inspector"), Keys(tr("Ctrl+2")), [this](bool on) { setShowsInspector(on); });
    for (QAction* toggle : {showEditor_, showInspector_}) {
        toggle->setCheckable(true);
        toggle->setChecked(true);
    }
    wrapLines_ = action(tr("&Wrap Lines"), Keys(tr("Alt+Z")), [this](bool on) { editor()->setWrapsLines(on); });
    wrapLines_->setCheckable(true);
    biggerText_ = action(tr("&Bigger Code Text"), Keys(tr("Ctrl++")),
                         [this] { editor()->setCodeSize(editor()->codeSize() + 1); });
    biggerText_->setShortcuts({Keys(tr("Ctrl++")), Keys(tr("Ctrl+="))});
    smallerText_ = action(tr("&Smaller Code Text"), Keys(tr("Ctrl+-")),
                          [this] { editor()->setCodeSize(editor()->codeSize() - 1); });
    actualSize_ = action(tr("&Actual Size"), Keys(tr("Ctrl+0")), [this] { editor()->setCodeSize(defaultCodeSize); });
}

void MainWindow::makeMenus() {
    menuBar()->setNativeMenuBar(true);
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(new_);
    fromSample_ = new SampleMenu(new SampleThumbnails({}, this), file);
    connect(fromSample_, &SampleMenu::chosen, this,
            [this](const QString& sample) { model_.newFromSample(sample.toStdString()); });
    file->addMenu(fromSample_);
    auto* fromEpisode = new EpisodeMenu(Document::shadersPath(), file);
    connect(fromEpisode, &EpisodeMenu::chosen, this,
            [this](const std::string& episode, const std::string& entry) { model_.newFromEpisode(episode, entry); });
    file->addMenu(fromEpisode);
    file->addAction(open_);
    file->addMenu(new RecentMenu(model_.document(), file));
    file->addAction(openSample_);
    file->addSeparator();
    file->addActions({save_, saveAs_, revert_});
    file->addSeparator();
    file->addAction(showInFiles_);
    file->addSeparator();
    file->addAction(quit_);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addActions({undo_, redo_});
    edit->addSeparator();
    edit->addActions({cut_, copy_, paste_, selectAll_});
    edit->addSeparator();
    auto* editing = new EditMenu(editorPane_, this);
    editing->fill(edit);
    connect(editing, &EditMenu::paneNeeded, this, [this] { model_.setShowsEditor(true); });
    edit->addSeparator();
    edit->addActions({nextProblem_, previousProblem_});
    undo_->setEnabled(false);
    redo_->setEnabled(false);
    connect(editor(), &QPlainTextEdit::undoAvailable, undo_, &QAction::setEnabled);
    connect(editor(), &QPlainTextEdit::redoAvailable, redo_, &QAction::setEnabled);
    auto withSelection = [this](bool any) {
        cut_->setEnabled(any);
        copy_->setEnabled(any);
    };
    withSelection(false);
    connect(editor(), &QPlainTextEdit::copyAvailable, this, withSelection);

    QMenu* shader = menuBar()->addMenu(tr("&Shader"));
    shader->addActions({banners_->runAction(), compileNow_});
    shader->addSeparator();
    picture_->addTransportTo(shader);
    shader->addSeparator();
    shader->addMenu(inspector()->presetActions()->makeMenu(shader));
    shader->addActions({inspector()->presetActions()->saveAction(), resetAll_, editing->writeValues()});
    shader->addSeparator();
    shader->addActions({undoSliders_, redoSliders_});

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addActions({showEditor_, showInspector_, picture_->fullScreen});
    view->addMenu(picture_->resolutionMenu());
    view->addSeparator();
    view->addActions({wrapLines_, biggerText_, smallerText_, actualSize_});
    view->addSeparator();
    QMenu* appearance = view->addMenu(tr("A&ppearance"));
    auto* choices = new QActionGroup(this);
    const std::pair<QString, Theme::Appearance> appearances[] = {{tr("&System"), Theme::Appearance::system},
                                                                 {tr("&Light"), Theme::Appearance::light},
                                                                 {tr("&Dark"), Theme::Appearance::dark}};
    for (const auto& [name, which] : appearances) {
        QAction* choice = appearance->addAction(name, this, [which] { Theme::instance().setAppearance(which); });
        choice->setCheckable(true);
        choice->setChecked(Theme::instance().appearance() == which);
        choices->addAction(choice);
    }

    QMenu* export_ = menuBar()->addMenu(tr("E&xport"));
    export_->addAction(exporting_->exportVideo);
    export_->addAction(exporting_->exportEpisode);
    export_->addAction(walkthrough_->preview);
    export_->addAction(variations_->choose);
    exporting_->openStillBy(picture_->saveStill);
    export_->addSeparator();
    picture_->addPicturesTo(export_);
    export_->addAction(exporting_->saveSound);
    export_->addSeparator();
    export_->addAction(sharing_->share);
    menuBar()->addMenu(account_->makeMenu(menuBar()));
    new HelpMenu(
        model_, menuBar(), this, [this] { return editor()->hasFocus() ? editor()->wordAtCaret() : QString(); },
        [this] { banners_->showUpdate(); });
}

void MainWindow::followDocument() {
    setWindowTitle(model_.windowTitle());
    setWindowFilePath({});
    save_->setEnabled(model_.isDirty());
    revert_->setEnabled(model_.isDirty());
    showInFiles_->setEnabled(model_.filePath().has_value());
    resetAll_->setEnabled(model_.changedValueCount() > 0);
    undoSliders_->setEnabled(model_.canUndoSliders());
    redoSliders_->setEnabled(model_.canRedoSliders());
    const bool problems = messages()->rows()->count() > 0;
    nextProblem_->setEnabled(problems);
    previousProblem_->setEnabled(problems);
}

void MainWindow::fitScreen() {
    const QSize room = roomFor(this);
    const bool isNarrow = room.width() < leastSize.width(), isLow = room.height() < leastSize.height();
    setMinimumSize(leastSize.boundedTo(room));
    canvas_->setMinimumSize(isNarrow ? smallPicture.width() : leastPicture.width(),
                            isLow ? smallPicture.height() : leastPicture.height());
    editorPane_->setMinimumWidth(isNarrow ? smallEditor : leastEditor);
    sliders_->setMinimumHeight(isLow ? smallInspector : leastInspector);
}

void MainWindow::followLayout() {
    const bool editorShown = editorPane_->isVisibleTo(across_);
    // In the window's coordinates: the splitter spans its whole width.
    toolbar_->setPictureLeft(editorShown ? std::optional(down_->x()) : std::nullopt);
    inspector()->setDense(height() < denseBelow);
}

void MainWindow::followShowsEditor() {
    const bool alone = fullScreen_->isActive();
    const bool shows = model_.showsEditor() && !alone;
    const bool hadFocus = editorPane_->isAncestorOf(focusWidget());
    editorPane_->setVisible(shows);
    // The keyboard rests on the picture, where no key does anything but the window's.
    if (shows)
        editor()->setFocus();
    else if (hadFocus)
        canvas_->setFocus();
    previewPane_->setBare(!shows);
    sliders_->setWhere(alone   ? InspectorHost::Where::fullScreen
                       : shows ? InspectorHost::Where::pane
                               : InspectorHost::Where::overPicture);
    showEditor_->setChecked(model_.showsEditor());
    for (QWidget* bar :
         {static_cast<QWidget*>(menuBar()), static_cast<QWidget*>(toolbar_), static_cast<QWidget*>(status_)})
        bar->setVisible(!alone);
    status_->setShowsEditor(shows);
    placeBanners();
    QTimer::singleShot(0, this, &MainWindow::followLayout); // the panes have their places by then
}

void MainWindow::placeBanners() {
    auto* window = static_cast<QVBoxLayout*>(centralWidget()->layout());
    window->insertWidget(window->indexOf(toolbar_) + 1, banners_->acrossWindow());
    // The line stands over the editor, without one over the status line.
    if (model_.showsEditor() || fullScreen_->isActive())
        static_cast<QVBoxLayout*>(editorPane_->layout())->insertWidget(0, banners_->overEditor());
    else
        window->insertWidget(window->indexOf(status_), banners_->overEditor());
}

void MainWindow::makePaneOrder() {
    // Tab finds the banners before the editor.
    for (const Banner* banner : {banners_->acrossWindow(), banners_->overEditor()})
        setTabBefore(banner->closeButton(), editor());
    new PaneFocus(this, {{banners_->acrossWindow()},
                         {banners_->overEditor()},
                         {editor(), [this] { editor()->setFocus(Qt::ShortcutFocusReason); }},
                         {messages()->rows(), [this] { messages()->rows()->setFocus(Qt::ShortcutFocusReason); }},
                         {inspector(), [this] { inspector()->focusFirst(); }},
                         {inspector()->presets()},
                         {toolbar_},
                         {{}, {}, [this] { return fullScreen_->showTransport(); }}});
}

void MainWindow::hideCollapsed(QSplitter* splitter, int pane) {
    // A pane dragged to nothing is hidden, and has a usable size when it comes back.
    QList<int> sizes = splitter->sizes();
    if (sizes[pane] > 0 || !splitter->widget(pane)->isVisible()) return;
    const int least = pane == 0 ? firstEditorWidth * 2 / 3 : 180;
    sizes[1 - pane] = std::max(1, sizes[1 - pane] - least);
    sizes[pane] = least;
    splitter->setSizes(sizes);
    if (splitter == across_)
        model_.setShowsEditor(false);
    else
        setShowsInspector(false);
}

void MainWindow::setShowsInspector(bool shows) {
    sliders_->setShows(shows);
    showInspector_->setChecked(shows);
}

void MainWindow::writeVariations(const std::vector<std::int64_t>& indices) {
    const VariationsLine line = VariationsLine::write(editor()->fileText(), indices);
    if (line.change == VariationsLine::Change::remove)
        editor()->removeLines(line.numbers);
    else if (line.edit)
        editor()->applyEdits({*line.edit});
    else
        return;
    editor()->goTo(line.numbers.front(), 1);
    if (model_.showsEditor()) editor()->setFocus();
}

void MainWindow::restoreLayout() {
    const QSettings settings;
    if (!restoreGeometry(settings.value(geometryKey).toByteArray())) {
        resize(firstSize.boundedTo(roomFor(this)));
    } else if (!isMaximized() && !isFullScreen()) {
        // It may have been a larger screen.
        const QRect screen(this->screen()->availableGeometry().topLeft(), roomFor(this));
        resize(size().boundedTo(screen.size()));
        move(std::clamp(x(), screen.left(), screen.left() + screen.width() - width()),
             std::clamp(y(), screen.top(), screen.top() + screen.height() - height()));
    }
    if (!across_->restoreState(settings.value(acrossKey).toByteArray()))
        across_->setSizes({std::min(firstEditorWidth, std::max(320, width() * 46 / 100)), width() - firstEditorWidth});
    if (!down_->restoreState(settings.value(downKey).toByteArray())) {
        const int panes = height() - barsHeight;
        const int least = height() < leastSize.height() ? smallInspector + 24 : 164;
        const int inspector = std::min(firstInspectorHeight, std::max(least, panes * 31 / 100));
        down_->setSizes({panes - inspector, inspector});
    }
    model_.setShowsEditor(settings.value(editorKey, true).toBool());
    setShowsInspector(settings.value(inspectorKey, true).toBool());
    wrapLines_->setChecked(settings.value(wrapKey, true).toBool());
    editor()->setWrapsLines(wrapLines_->isChecked());
    editor()->setCodeSize(settings.value(codeSizeKey, defaultCodeSize).toInt());
}

void MainWindow::keepLayout() const {
    QSettings settings;
    settings.setValue(geometryKey, saveGeometry());
    settings.setValue(acrossKey, across_->saveState());
    settings.setValue(downKey, down_->saveState());
    settings.setValue(editorKey, model_.showsEditor());
    settings.setValue(inspectorKey, showInspector_->isChecked());
    settings.setValue(wrapKey, wrapLines_->isChecked());
    settings.setValue(codeSizeKey, editor()->codeSize());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!closeGuard_->mayClose()) {
        event->ignore();
        return;
    }
    fullScreen_->leave();
    keepLayout();
    canvas_->setActive(false);
    if (!canvas_->finishes() || model_.deviceIsBusy()) {
        // A window that goes loses its surface, which waits for the frames in work: the process ends without that.
        event->ignore();
        if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) hide(); // there it loses it as well
        QCoreApplication::exit();
        return;
    }
    event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && canvas_) canvas_->setActive(!isMinimized());
    if (event->type() != QEvent::ActivationChange || !isActiveWindow()) return;
    // A click on a window that waits for an answer gives it the keyboard, which it may not use: the question takes it.
    if (QWidget* question = QApplication::activeModalWidget(); question && question != this) {
        question->raise();
        question->activateWindow();
    }
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    QTimer::singleShot(0, this, &MainWindow::followLayout);
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    fitScreen();
    connect(windowHandle(), &QWindow::screenChanged, this, &MainWindow::fitScreen, Qt::UniqueConnection);
    QTimer::singleShot(0, this, &MainWindow::followLayout);
}

void MainWindow::comeForward(const QByteArray& activation) {
    // Wayland's desktops let a window come forward only with the token that they gave to who asked.
    if (!activation.isEmpty()) qputenv("XDG_ACTIVATION_TOKEN", activation);
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

} // namespace glasshob
