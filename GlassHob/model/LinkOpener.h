// Opens shaders of the gallery from their links, which come from anywhere: a link is checked, unsaved edits are asked
// about, the text is fetched while everything goes on, and then it is saved under a free name in the folder of new
// shaders and shown, waiting for Run. Nothing is written before the whole text is there. What goes wrong is told.
//
// One download at a time: a newer link takes the place of an older one. Main thread; owned by the model.
#pragma once

#include "GlassHobCore/site/Cancellation.h"
#include "GlassHobCore/site/OpenLink.h"
#include "GlassHobCore/site/ShaderDownload.h"
#include "GlassHobCore/site/Site.h"

#include <QObject>
#include <QString>

#include <expected>
#include <memory>
#include <optional>
#include <string>

namespace glasshob {

class Document;
class HttpSession;
class Questions;

class LinkOpener : public QObject {
    Q_OBJECT
  public:
    LinkOpener(Document& document, Questions& questions, Site site);
    ~LinkOpener() override;

    // Whether a word of a command line, or of the desktop, is meant as such a link, well-formed or not.
    static bool isLink(const QString& word);

    void open(const QString& link);
    // The name of what is being fetched, while it is.
    const std::optional<QString>& downloading() const { return downloading_; }
    void cancel();

  signals:
    void changed(); // downloading

  private:
    using Text = std::expected<std::string, ShaderDownload::Problem>;
    void begin(const OpenLink& link);
    QCoro::Task<> download(OpenLink link, Cancellation cancellation);
    void take(const OpenLink& link, const Text& text);
    void save(const OpenLink& link, const std::string& text);
    void tellFailure(const std::string& sentence);

    Document& document_;
    Questions& questions_;
    const Site site_;
    std::unique_ptr<HttpSession> session_; // from the first link on
    CancellationSource cancellation_;
    std::optional<QString> downloading_;
    // The unsaved text that may go, as the person has said.
    std::string agreedText_;
};

} // namespace glasshob
