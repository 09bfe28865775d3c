#include "GlassHob/model/StartArguments.h"

#include "GlassHob/model/LinkOpener.h"

#include <QUrl>

namespace glasshob {

std::expected<StartArguments, QString> StartArguments::parse(const QStringList& words) {
    StartArguments made;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words[i];
        const QUrl url(word, QUrl::StrictMode);
        if (word == QLatin1String("--shader")) {
            // Without a path behind it, it means nothing.
            if (++i < words.size()) made.path = words[i];
        } else if (word == QLatin1String("--site")) {
            if (++i == words.size()) return std::unexpected(word);
            made.site = words[i];
        } else if (LinkOpener::isLink(word)) {
            made.link = word;
        } else if (i == 0 && url.isLocalFile()) {
            made.path = url.toLocalFile(); // how desktops name files
        } else if (!word.startsWith(u'-') && (i == 0 || (i == 2 && !made.site.isEmpty()))) {
            made.path = word;
        } else {
            return std::unexpected(word);
        }
    }
    return made;
}

} // namespace glasshob
