#pragma once

// The numbers in a line of shader text, for an editor that selects them, lets them be dragged and shows colours made of
// them. Columns count UTF-16 code units. Pure; any thread; any text is accepted.

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

namespace glasshob {

// A number as it is written, without a sign: "0.5", "1e-3", "0x1Fu", "2.0h".
struct CodeNumber {
    int start = 0;
    int length = 0;
    double value = 0;
    // Digits behind the point; -1 for a whole number.
    int decimals = -1;
    // A minus that belongs to it stands right before it; `value` has it, `start` does not.
    bool isNegated = false;
    // Written with digits and a point alone, so that another value can take its place.
    bool isPlain = false;
    // "f", "h", "u" or nothing.
    QString suffix;

    int end() const { return start + length; }
};

// The number that a column lies in or next to. Nothing in a word such as `float3`.
std::optional<CodeNumber> numberAt(QStringView line, int column);

// A number that lies `steps` above a plain one. A step is as small as the number is written, and a hundredth at most
// for one with a point; whole numbers stay whole.
double stepped(const CodeNumber& number, int steps);
// How the value is written in place of the number and its minus, if it has one.
QString writtenAs(const CodeNumber& number, double value);

// Three or four numbers between 0 and 1 in the brackets of a vector: a colour.
struct CodeColour {
    // From the vector's name to behind the closing bracket.
    int start = 0;
    int length = 0;
    // Red, green, blue and, of four, alpha.
    std::vector<CodeNumber> parts;

    int end() const { return start + length; }
};

// Those of one line, in their order. Nothing of a comment.
std::vector<CodeColour> coloursIn(QStringView line);
// The line's text from `start` to `end()` for other values of the parts, each between 0 and 1 and with three decimals
// at most.
QString writtenAs(QStringView line, const CodeColour& colour, const std::vector<double>& values);

} // namespace glasshob
