// The window: menu bar, toolbar, editor beside the picture over the sliders, status line. It wires the model to its
// views and keeps sizes, visibility and geometry in the settings. Main thread.
#pragma once

#include "GlassHob/ui/picture/Canvas.h"

#include <QMainWindow>

#include <cstdint>
#include <vector>

class QSplitter;

namespace glasshob {

class AccountActions;
class AppModel;
class Banners;
class CodeEditor;
class EditorPane;
class ExportActions;
class FullScreen;
class Inspector;
class CloseGuard;
class MessageList;
class PictureActions;
class PreviewPane;
class SampleMenu;
class ShareActions;
class WalkthroughActions;
class InspectorHost;
class StatusLine;
class Toolbar;
class VariationActions;

class MainWindow : public QMainWindow {
    Q_OBJECT
  public:
    explicit MainWindow(AppModel& model, Canvas::Kind canvas = Canvas::Kind::automatic);
    ~MainWindow() override;

    CodeEditor* editor() const;
    MessageList* messages() const;
    Inspector* inspector() const;
    InspectorHost* sliders() const { return sliders_; }
    Banners* banners() const { return banners_; }
    Canvas* canvas() const { return canvas_; }
    FullScreen* fullScreen() const { return fullScreen_; }
    // The window comes before the others; `activation` is what the desktop gave to who asked for it.
    void comeForward(const QByteArray& activation);
    PictureActions* pictureActions() const { return picture_; }
    AccountActions* accountActions() const { return account_; }
    ExportActions* exportActions() const { return exporting_; }
    VariationActions* variationActions() const { return variations_; }
    WalkthroughActions* walkthrough() const { return walkthrough_; }
    ShareActions* sharing() const { return sharing_; }

  protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void makeActions();
    void makeMenus();
    void followDocument();
    void followLayout();
    // A screen with less room than the least sizes gets smaller ones.
    void fitScreen();
    void followShowsEditor();
    void placeBanners();
    void makePaneOrder();
    void hideCollapsed(QSplitter* splitter, int pane);
    void setShowsInspector(bool shows);
    // Puts the variations of an episode into the text's header.
    void writeVariations(const std::vector<std::int64_t>& indices);
    void restoreLayout();
    void keepLayout() const;

    AppModel& model_;
    Toolbar* toolbar_ = nullptr;
    QSplitter* across_ = nullptr; // editor | right half
    QSplitter* down_ = nullptr;   // preview / inspector
    EditorPane* editorPane_ = nullptr;
    PreviewPane* previewPane_ = nullptr;
    Canvas* canvas_ = nullptr;
    InspectorHost* sliders_ = nullptr; // the inspector, in its pane or over the picture
    Banners* banners_ = nullptr;
    StatusLine* status_ = nullptr;
    SampleMenu* fromSample_ = nullptr;
    PictureActions* picture_ = nullptr;
    FullScreen* fullScreen_ = nullptr;
    AccountActions* account_ = nullptr;
    ExportActions* exporting_ = nullptr;
    VariationActions* variations_ = nullptr;
    WalkthroughActions* walkthrough_ = nullptr;
    ShareActions* sharing_ = nullptr;
    CloseGuard* closeGuard_ = nullptr;

    QAction *new_, *open_, *openSample_, *save_, *saveAs_, *revert_, *showInFiles_, *quit_;
    QAction *undo_, *redo_, *cut_, *copy_, *paste_, *selectAll_, *nextProblem_, *previousProblem_;
    QAction *compileNow_, *resetAll_, *undoSliders_, *redoSliders_;
    QAction *showEditor_, *showInspector_, *wrapLines_, *biggerText_, *smallerText_, *actualSize_;
};

} // namespace glasshob
