// The sheet in which a shader is shared: the form with its picture, what the account lacks, and where it is in the end.
// It follows the model of the share, which outlives it: closed and opened again, the sheet is where it was. Over the
// main window alone. Escape and the window's button cancel what is at work first; what is typed and rendered stays.
// Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHob/ui/controls/PageDialog.h"

#include <memory>

namespace glasshob {

class DialogPage;
class DialogPicture;
class ShareDonePage;
class ShareForm;
class ShareHandlePage;
class ShareModel;
class ShareSignInPage;

class ShareSheet : public PageDialog {
    Q_OBJECT
  public:
    // `site` is what the gallery is called.
    ShareSheet(std::shared_ptr<ShareModel> share, const QString& site, QWidget* parent);

    void reject() override;

    ShareModel& model() const { return *model_; }
    // The one that is shown.
    DialogPage* page() const { return page_; }
    ShareForm* form() const { return form_; }
    ShareSignInPage* signIn() const { return signIn_; }
    ShareHandlePage* handle() const { return handle_; }
    ShareDonePage* shared() const { return done_; }
    DialogPicture* picture() const { return picture_; }

  signals:
    // The person wants to sign in; the sheet has closed.
    void signInAsked();

  protected:
    bool takesReturn() const override;
    void press(bool isForced) override;

  private:
    void follow();
    void turnTo(DialogPage* page);
    void fitScreen();

    std::shared_ptr<ShareModel> model_;
    DialogPicture* picture_;
    ShareForm* form_;
    ShareSignInPage* signIn_;
    ShareHandlePage* handle_;
    ShareDonePage* done_;
    DialogPage* page_ = nullptr;
    bool wasWorking_ = false;
};

} // namespace glasshob
