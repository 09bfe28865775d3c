// The small pages of the share sheet: what the account lacks, and where the shared shader is. Main thread; owned by the
// sheet.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

#include <QUrl>

namespace glasshob {

class SearchField;
class ShareModel;

// "Sign in to share to the gallery."
class ShareSignInPage : public DialogPage {
    Q_OBJECT
  public:
    explicit ShareSignInPage(QWidget* parent);
    void tell(const QString& message);
    TextButton* signIn() const { return signIn_; }
    const QString& message() const { return message_->text(); }

  signals:
    void cancelled();
    void signInAsked();

  private:
    WrappedText* message_;
    TextButton *cancel_, *signIn_;
};

// The account's name, without which nothing can be shared.
class ShareHandlePage : public DialogPage {
    Q_OBJECT
  public:
    // `site` is what the gallery is called.
    ShareHandlePage(ShareModel& share, const QString& site, QWidget* parent);
    void follow();
    void focusFirst();
    void submit();
    SearchField* field() const { return field_; }
    FieldMessage* problem() const { return problem_; }
    TextButton* setAndShare() const { return set_; }
    const QString& message() const { return message_->text(); }

  signals:
    void cancelled();
    void heightChanged();

  private:
    ShareModel& model_;
    WrappedText* message_;
    SearchField* field_;
    FieldMessage* problem_;
    TextButton *cancel_, *set_;
};

// The shader's page on the gallery, to be copied and opened.
class ShareDonePage : public DialogPage {
    Q_OBJECT
  public:
    explicit ShareDonePage(QWidget* parent);
    void tell(const QUrl& url);
    TextButton* link() const { return link_; }
    TextButton* copy() const { return copy_; }
    TextButton* open() const { return open_; }
    TextButton* done() const { return done_; }

  signals:
    void closed();

  private:
    void openPage();

    QUrl url_;
    TextLine* heading_;
    TextButton *link_, *copy_, *open_, *done_;
};

} // namespace glasshob
