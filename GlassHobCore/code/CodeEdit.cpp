#include "GlassHobCore/code/CodeEdit.h"

#include <QStringList>

#include <algorithm>

namespace glasshob::CodeEdit {

namespace {

const QString mark = QStringLiteral("//");

bool isBlank(const QString& line) {
    return QStringView(line).trimmed().isEmpty();
}
bool isCommented(const QString& line) {
    return QStringView(line).trimmed().startsWith(mark);
}

qsizetype indentation(const QString& line) {
    qsizetype width = 0;
    while (width < line.size() && (line[width] == u' ' || line[width] == u'\t'))
        ++width;
    return width;
}

void uncomment(QString& line) {
    const qsizetype at = line.indexOf(mark);
    const bool blankFollows = at + 2 < line.size() && line[at + 2] == u' ';
    line.remove(at, blankFollows ? 3 : 2);
}

} // namespace

Result toggleComment(const QString& text, TextRange selection) {
    const qsizetype from = std::clamp<qsizetype>(selection.location, 0, text.size());
    const qsizetype to = std::clamp<qsizetype>(selection.end(), from, text.size());

    // The lines that the selection touches; one that ends behind a line feed does not touch the next line.
    const qsizetype start = from == 0 ? 0 : text.lastIndexOf(u'\n', from - 1) + 1;
    qsizetype end = to > from && text[to - 1] == u'\n' ? to - 1 : text.indexOf(u'\n', to);
    if (end < 0) end = text.size();

    QStringList lines = text.mid(start, end - start).split(u'\n');
    // Blank lines take part only where there is nothing else.
    const bool onlyBlank = std::ranges::all_of(lines, isBlank);
    const auto takesPart = [&](const QString& line) { return onlyBlank || !isBlank(line); };

    const bool allCommented =
        std::ranges::all_of(lines, [&](const QString& line) { return !takesPart(line) || isCommented(line); });
    if (allCommented) {
        for (QString& line : lines) {
            if (takesPart(line)) uncomment(line);
        }
    } else {
        qsizetype column = text.size();
        for (const QString& line : lines) {
            if (takesPart(line)) column = std::min(column, indentation(line));
        }
        for (QString& line : lines) {
            if (takesPart(line)) line.insert(column, QStringLiteral("// "));
        }
    }

    const QString changed = lines.join(u'\n');
    Result result;
    result.text = text.left(start) + changed + text.mid(end);
    result.selection = {start, changed.size()};
    return result;
}

} // namespace glasshob::CodeEdit
