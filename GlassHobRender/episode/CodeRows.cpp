#include "GlassHobRender/episode/CodeRows.h"

#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/CodeWrap.h"
#include "GlassHobRender/paint/PaintFonts.h"

#include <QFontMetricsF>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>

namespace glasshob {

namespace {

using Kind = WalkthroughLine::Kind;

constexpr int roomHeight = 960;
constexpr int tabColumns = 4;
constexpr int hangingIndent = 4, hangingMarkBefore = 2;

struct Step {
    int size;
    int row;
};
constexpr std::array<Step, 6> steps = {{{44, 69}, {40, 63}, {36, 57}, {32, 51}, {29, 45}, {26, 42}}};
// Of the least size, for what does not fit otherwise.
constexpr std::array<Step, 2> denser = {{{26, 39}, {26, 36}}};
constexpr std::size_t mostRows = roomHeight / 36;

int columnsOf(double width, int size) {
    return int(width / columnWidth(size) + 1e-6);
}

// What a character takes; most take one column, and those of other scripts as many as they are wide.
class ColumnMeter {
  public:
    int operator()(QStringView cluster) {
        if (cluster.size() == 1 && cluster[0].unicode() < 0x80) return 1;
        const auto [known, isNew] = columns_.try_emplace(cluster.toString());
        if (isNew) {
            const double width = metrics_.horizontalAdvance(known->first);
            known->second = std::max(1, int(std::ceil(width / columnWidth(size) - 0.05)));
        }
        return known->second;
    }

  private:
    static constexpr int size = 40;
    QFontMetricsF metrics_{paintFonts::code(size)};
    std::map<QString, int> columns_; // measuring is slow
};

// A line made ready: without the common indentation, tabs as blanks, and no longer than a page has room for.
struct Line {
    QString text;
    Kind kind = Kind::added;
    int indent = 0;
    // The column in which each code unit begins, and the one behind the last.
    std::vector<int> columns;
    std::vector<SyntaxToken> tokens;
    bool isCut = false;
};

QString withoutTabs(const std::string& utf8) {
    QString made;
    int column = 0;
    for (const QChar c : asQString(utf8)) {
        const int blanks = c == u'\t' ? tabColumns - column % tabColumns : c.category() == QChar::Other_Control ? 1 : 0;
        if (blanks > 0) {
            made += QString(blanks, u' ');
        } else {
            made += c;
        }
        column += std::max(blanks, 1);
    }
    return made;
}

int indentOf(const QString& text) {
    int blanks = 0;
    while (blanks < text.size() && text[blanks] == u' ')
        ++blanks;
    return blanks;
}

std::vector<int> startColumns(const QString& text, ColumnMeter& meter) {
    std::vector<int> starts;
    int column = 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (qsizetype from = 0, to; from < text.size(); from = to) {
        to = text[from].unicode() < 0x80 && (from + 1 == text.size() || text[from + 1].unicode() < 0x80)
                 ? from + 1
                 : (finder.setPosition(from), finder.toNextBoundary());
        if (to <= from) to = text.size();
        starts.insert(starts.end(), std::size_t(to - from), column);
        column += meter(QStringView(text).sliced(from, to - from));
    }
    starts.push_back(column);
    return starts;
}

std::vector<Line> linesOf(const std::vector<WalkthroughLine>& lines, double width) {
    // More than a page of the smallest letters.
    const qsizetype most = qsizetype(mostRows + 1) * columnsOf(width, steps.back().size);
    std::vector<Line> made;
    int shared = -1;
    for (const WalkthroughLine& line : lines) {
        Line& each = made.emplace_back();
        each.kind = line.kind;
        if (line.kind == Kind::gap || line.kind == Kind::blank) continue;
        each.text = withoutTabs(line.text);
        const int indent = indentOf(each.text);
        shared = shared < 0 ? indent : std::min(shared, indent);
    }
    ColumnMeter meter;
    auto state = MSLSyntax::LineState::plain;
    for (Line& line : made) {
        if (line.kind == Kind::gap) state = MSLSyntax::LineState::plain;
        if (line.text.isEmpty()) continue;
        line.text.remove(0, shared);
        // An indentation that leaves no room for code is shown shorter.
        line.indent = indentOf(line.text);
        const int limit = columnsOf(width, steps.front().size) / 2;
        if (line.indent > limit) line.text.remove(0, line.indent - limit);
        line.indent = std::min(line.indent, limit);
        line.isCut = line.text.size() > most;
        line.text.truncate(most);
        state = MSLSyntax::tokenizeLine(line.text, state, line.tokens);
        line.columns = startColumns(line.text, meter);
    }
    return made;
}

// The end of the row that begins at `from`, and where the next one begins.
struct RowEnd {
    qsizetype end = 0;
    qsizetype next = 0;
};

RowEnd rowEnd(const Line& line, const std::vector<BreakPlace>& places, qsizetype from, int room) {
    const QStringView text = line.text;
    const int start = line.columns[std::size_t(from)];
    const auto width = [&](qsizetype to) { return line.columns[std::size_t(to)] - start; };
    if (width(text.size()) <= room) return {text.size(), text.size()};
    const auto withoutBlanks = [&](qsizetype at) {
        while (at > from && text[at - 1] == u' ')
            --at;
        return at;
    };
    const auto behindBlanks = [&](qsizetype at) {
        while (at < text.size() && text[at] == u' ')
            ++at;
        return at;
    };
    const int lead = from == 0 ? line.indent : 0;
    const int least = lead + (room - lead) / 3;
    const BreakPlace* best = nullptr;
    for (const BreakPlace& place : places) {
        if (place.at <= from) continue;
        const qsizetype end = withoutBlanks(place.at);
        if (width(end) > room) break;
        if (width(place.at) <= least) continue;
        const auto rank = [](const BreakPlace& each) { return std::tuple(each.depth, each.tightness, -each.at); };
        if (best == nullptr || rank(place) < rank(*best)) best = &place;
    }
    if (best != nullptr) return {withoutBlanks(best->at), behindBlanks(best->at)};
    // What fits, a character at least; characters are not cut within.
    qsizetype fits = from + 1;
    for (qsizetype at = from + 1; at <= text.size() && width(at) <= room; ++at) {
        if (at == text.size() || line.columns[std::size_t(at)] != line.columns[std::size_t(at) - 1]) fits = at;
    }
    while (fits < text.size() && line.columns[std::size_t(fits)] == start)
        ++fits;
    const qsizetype blank = fits < text.size() && text[fits] == u' ' ? fits : text.first(fits).lastIndexOf(u' ');
    if (blank > from && withoutBlanks(blank) > from && width(blank) > lead)
        return {withoutBlanks(blank), behindBlanks(blank)};
    return {fits, fits};
}

// The stretch of a line as a row, with its colours.
CodeRow row(const Line& line, qsizetype from, qsizetype end, int shift) {
    CodeRow made;
    made.kind = line.kind;
    const auto columnAt = [&](qsizetype at) { return line.columns[std::size_t(at)]; };
    const auto isPlain = [&](qsizetype at) { return line.text[at].unicode() < 0x80; };
    const auto add = [&](qsizetype start, qsizetype stop, std::optional<SyntaxKind> kind) {
        stop = std::min(stop, end);
        for (qsizetype to; (start = std::max(start, from)) < stop; start = to) {
            // Characters of other scripts are set as a piece, joined and in their order; what follows keeps its column.
            for (to = start + 1; to < stop && isPlain(to) == isPlain(start);)
                ++to;
            made.runs.push_back({line.text.mid(start, to - start), columnAt(start) - columnAt(from) + shift,
                                 columnAt(to) - columnAt(start), kind});
        }
    };
    qsizetype at = 0;
    for (const SyntaxToken& token : line.tokens) {
        if (token.range.location < at) continue; // lies in the one before
        add(at, token.range.location, {});
        add(token.range.location, token.range.end(), token.kind);
        at = token.range.end();
    }
    add(at, line.text.size(), {});
    return made;
}

CodeRows laidOut(const std::vector<Line>& lines, Step step, double width) {
    CodeRows made;
    made.size = step.size;
    made.rowHeight = step.row;
    made.columns = columnsOf(width, step.size);
    for (std::size_t number = 0; number < lines.size(); ++number) {
        const Line& line = lines[number];
        if (line.text.isEmpty()) {
            made.rows.push_back({line.kind, number, {}, -1});
            continue;
        }
        const bool isWrapped = line.columns.back() > made.columns;
        made.wrappedLines += isWrapped ? 1 : 0;
        const auto places = isWrapped ? breakPlaces(line.text) : std::vector<BreakPlace>();
        const int hang = std::min(line.indent + hangingIndent, made.columns / 2);
        for (qsizetype from = 0; from < line.text.size() && made.rows.size() <= mostRows;) {
            const bool isFirst = from == 0;
            const auto [end, next] = rowEnd(line, places, from, made.columns - (isFirst ? 0 : hang));
            made.rows.push_back(row(line, from, end, isFirst ? 0 : hang));
            made.rows.back().line = number;
            if (!isFirst) made.rows.back().hangingMark = hang - hangingMarkBefore;
            from = next;
        }
    }
    return made;
}

// Leaves out the rows beyond a number, which are there; the last one ends in "…".
void cut(CodeRows& all, std::size_t most, const std::vector<Line>& lines) {
    for (std::size_t number = all.rows[most].line; number < lines.size(); ++number)
        all.cutLines += lines[number].text.isEmpty() ? 0 : 1;
    all.rows.resize(most);
    CodeRow& last = all.rows.back();
    if (last.runs.empty()) {
        last.kind = Kind::context;
        last.runs.push_back({QStringLiteral("…"), 0, 1, {}});
        return;
    }
    CodeRow::Run& run = last.runs.back();
    if (run.column + run.columns >= all.columns && run.columns > 1) {
        run.text.chop(run.text.back().isLowSurrogate() ? 2 : 1);
        run.columns -= 1;
    }
    const CodeRow::Run dots = {QStringLiteral("…"), std::min(run.column + run.columns, all.columns - 1), 1, {}};
    last.runs.push_back(dots);
}

} // namespace

double columnWidth(int size) {
    return 0.6 * size;
}

QString CodeRow::text() const {
    QString all;
    for (const Run& run : runs)
        all += run.text;
    return all;
}

CodeRows codeRows(const std::vector<WalkthroughLine>& lines, double width) {
    const std::vector<Line> ready = linesOf(lines, width);
    const auto mostWrapped = int(ready.size() / 8);
    CodeRows made;
    for (const Step& step : steps) {
        made = laidOut(ready, step, width);
        const bool isLeast = step.size == steps.back().size;
        if (made.height() <= roomHeight && (isLeast || made.wrappedLines <= mostWrapped)) break;
    }
    for (const Step& step : denser) {
        if (made.height() <= roomHeight) break;
        made = laidOut(ready, step, width);
    }
    if (made.height() > roomHeight) cut(made, std::size_t(roomHeight / made.rowHeight), ready);
    const bool hasCutLine = std::ranges::any_of(ready, &Line::isCut);
    if (hasCutLine && made.cutLines == 0) made.cutLines = 1;
    return made;
}

} // namespace glasshob
