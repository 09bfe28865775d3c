#include "GlassHob/model/LinkOpener.h"

#include "GlassHob/model/Document.h"
#include "GlassHob/model/Questions.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/NewFile.h"
#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/text/Text.h"

#include <QFile>

namespace glasshob {

LinkOpener::LinkOpener(Document& document, Questions& questions, Site site)
    : document_(document), questions_(questions), site_(std::move(site)) {}

LinkOpener::~LinkOpener() {
    cancellation_.request_stop();
}

bool LinkOpener::isLink(const QString& word) {
    return word.startsWith(asQString(Identity::urlScheme) + u':', Qt::CaseInsensitive);
}

void LinkOpener::open(const QString& link) {
    const auto parsed = OpenLink::parse(link.toStdString(), site_);
    if (!parsed) {
        questions_.warn(tr("Glass Hob can't open that link"), asQString(parsed.error().description()));
        return;
    }
    document_.confirmDiscard([this, link = *parsed](bool goOn) {
        if (goOn) begin(link);
    });
}

void LinkOpener::begin(const OpenLink& link) {
    cancellation_.request_stop();
    cancellation_ = {};
    agreedText_ = document_.currentText();
    downloading_ = asQString(link.fileName);
    emit changed();
    if (!session_) session_ = std::make_unique<HttpSession>(std::string(Identity::userAgent));
    download(link, cancellation_.get_token());
}

QCoro::Task<> LinkOpener::download(OpenLink link, Cancellation cancellation) {
    const Text text = co_await ShaderDownload::fetch(link, site_, *session_, cancellation);
    // Given up, and this object may be gone.
    if (cancellation.stop_requested()) co_return;
    take(link, text);
}

void LinkOpener::cancel() {
    if (!downloading_) return;
    cancellation_.request_stop();
    downloading_.reset();
    document_.keepEdits();
    emit changed();
}

void LinkOpener::take(const OpenLink& link, const Text& text) {
    downloading_.reset();
    emit changed();
    if (!text) {
        tellFailure(text.error().sentence);
    } else if (document_.currentText() == agreedText_) {
        save(link, *text);
    } else { // typed since
        document_.confirmDiscard([this, link, text = *text](bool goOn) {
            if (goOn) save(link, text);
        });
    }
}

void LinkOpener::save(const OpenLink& link, const std::string& text) {
    const std::string stamped = link.stamped(text);
    if (!ShaderFile::fits(stamped)) {
        tellFailure("That file has more than 200,000 lines, which no shader has: it was not opened.");
        return;
    }
    const auto path =
        NewFile::write(QFile::encodeName(Document::shadersFolder()).toStdString(), link.fileName, stamped);
    if (path)
        document_.openDownloaded(QFile::decodeName(path->c_str()), QUrl(asQString(link.source), QUrl::StrictMode));
    else
        tellFailure(path.error());
}

void LinkOpener::tellFailure(const std::string& sentence) {
    document_.keepEdits();
    questions_.warn(tr("Glass Hob couldn't open the shader"), asQString(sentence));
}

} // namespace glasshob
