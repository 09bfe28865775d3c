#include "GlassHobCore/code/TextSearch.h"

#include <QCoreApplication>

namespace glasshob {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("TextSearch", text);
}

} // namespace

std::expected<TextSearch, QString> TextSearch::make(const QString& pattern, Options options) {
    TextSearch search;
    if (pattern.isEmpty()) return search;
    QString expression = options.isExpression ? pattern : QRegularExpression::escape(pattern);
    QRegularExpression::PatternOptions flags =
        QRegularExpression::MultilineOption | QRegularExpression::UseUnicodePropertiesOption;
    if (!options.isCaseSensitive) flags |= QRegularExpression::CaseInsensitiveOption;
    // A mistake is looked for in what was typed, so that its place can be told.
    const QRegularExpression typed(expression, flags);
    if (!typed.isValid()) {
        return std::unexpected(tr("This is no regular expression: %1, at character %2.")
                                   .arg(typed.errorString())
                                   .arg(typed.patternErrorOffset() + 1));
    }
    // Not \b: a pattern may begin or end with something that is no letter.
    if (options.isWholeWord) expression = QStringLiteral("(?<!\\w)(?:%1)(?!\\w)").arg(expression);
    search.expression_ = QRegularExpression(expression, flags);
    search.isExpression_ = options.isExpression;
    search.finds_ = search.expression_.isValid();
    search.expression_.optimize();
    return search;
}

std::vector<TextRange> TextSearch::matches(const QString& text) const {
    std::vector<TextRange> found;
    if (!finds_) return found;
    auto all = expression_.globalMatch(text);
    while (all.hasNext() && found.size() < limit) {
        const QRegularExpressionMatch match = all.next();
        if (match.capturedLength() > 0) found.push_back({match.capturedStart(), match.capturedLength()});
    }
    return found;
}

QString TextSearch::replacement(const QString& text, TextRange range, const QString& replacement) const {
    if (!isExpression_) return replacement;
    const QRegularExpressionMatch match = expression_.match(text, range.location, QRegularExpression::NormalMatch,
                                                            QRegularExpression::AnchorAtOffsetMatchOption |
                                                                QRegularExpression::DontCheckSubjectStringMatchOption);
    QString result;
    for (qsizetype i = 0; i < replacement.size(); ++i) {
        const QChar c = replacement[i];
        if ((c != u'$' && c != u'\\') || i + 1 == replacement.size()) {
            result += c;
            continue;
        }
        const QChar next = replacement[++i];
        if (next >= u'0' && next <= u'9')
            result += match.captured(next.unicode() - u'0');
        else if (next == c)
            result += c;
        else if (c == u'\\' && next == u'n')
            result += u'\n';
        else if (c == u'\\' && next == u't')
            result += u'\t';
        else
            result += c, result += next;
    }
    return result;
}

} // namespace glasshob
