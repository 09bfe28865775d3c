// What the windows of exports share: a form, the running export, and how it has ended, of which one is shown, as the
// model's export state says. Not modal: editing continues during an export. Closed while its export runs it asks once,
// and cancels it. Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHob/ui/controls/PageDialog.h"

namespace glasshob {

class AppModel;
class ExportFailedPage;
class ResultPage;
struct ExportOrder;

class ExportDialog : public PageDialog {
    Q_OBJECT
  public:
    void reject() override;

  protected:
    // What a plain Return does in the form where no button has the keyboard; Ctrl+Return always submits.
    enum class Return { submits, nothing };
    ExportDialog(AppModel& model, Return inForm, QWidget* parent);

    struct Pages {
        QWidget* form = nullptr;
        QWidget* progress = nullptr;
        ResultPage* finished = nullptr;
        ExportFailedPage* failed = nullptr;
    };
    // Once, at the end of the constructor: stands `over` above the pages, and shows the one of the export's state.
    void begin(QWidget* over, const Pages& pages);

    AppModel& model() const { return model_; }
    // Null before the first.
    QWidget* page() const { return page_; }
    // Whether the export that runs, or has ended, is one of this window.
    bool isMine() const;

    virtual bool isMine(const ExportOrder& order) const = 0;
    // Before page() is seen.
    virtual void prepare() = 0;
    // The sizes of what is shown, in the room that the screen has.
    virtual void fitScreen() = 0;
    // page() is seen; it is the form or the progress.
    virtual void focusFirst() = 0;
    virtual void submit() = 0;

    bool takesReturn() const override;
    void press(bool isForced) override;

  private:
    void follow();
    void turnTo(QWidget* page);

    AppModel& model_;
    Return inForm_;
    Pages pages_;
    QWidget* page_ = nullptr;
    bool asksAboutClosing_ = false;
};

} // namespace glasshob
