// The command line of the window: a file, after "--shader" or alone, or a link that opens a shader of the gallery, as a
// person types them or a desktop hands them over. A plain value; any thread.
#pragma once

#include <QString>
#include <QStringList>

#include <expected>

namespace glasshob {

struct StartArguments {
    // As given; empty when there is none.
    QString path;
    QString link;
    // The gallery for this run, in place of the setting; as given.
    QString site;

    // Of the words behind the program's name, without Qt's own. The error is the word that is no option.
    static std::expected<StartArguments, QString> parse(const QStringList& words);
};

} // namespace glasshob
