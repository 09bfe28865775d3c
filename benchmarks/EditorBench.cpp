// The editor with a file of 10,000 lines: how fast its text is taken into tokens, and how long a key keeps the main
// thread.
//
// Judged are the tokenizer against a pass over the same UTF-16 text that only splits it into lines; and, over keys
// pressed in the middle of the file, the 99th percentile of the time from the key to the painted line, by itself and
// against a bare QPlainTextEdit with the same text, font and size. The editor is that of the window, with its model:
// every key marks the document as edited, keeps a copy of the text and puts off the compile.
#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/window/Panes.h"
#include "GlassHobCore/code/MSLSyntax.h"
#include "benchmarks/Common.h"
#include "benchmarks/LongSource.h"

#include <fstream>

#include <QApplication>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTextBlock>

namespace {

constexpr int lines = 10'000;
constexpr int passes = 25;
constexpr int keys = 400;
constexpr int warmKeys = 20;
constexpr double tokenTarget = 10;
constexpr double keyTarget = 16; // milliseconds
constexpr double bareTarget = 2;
constexpr QSize size{620, 800};

double percentile99(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() * 99 / 100];
}

// Only the lines: where each begins and how long it is.
std::size_t split(QStringView text, std::vector<glasshob::TextRange>& out) {
    out.clear();
    qsizetype begin = 0;
    for (qsizetype at = 0; at < text.size(); ++at)
        if (text[at] == u'\n') {
            out.push_back({begin, at - begin});
            begin = at + 1;
        }
    out.push_back({begin, text.size() - begin});
    return out.size();
}

bool measureTokens(const QString& text) {
    std::vector<double> tokens, lineTimes, ratios;
    std::vector<glasshob::TextRange> ranges;
    std::size_t tokenCount = 0, lineCount = 0;
    for (int pass = 0; pass < passes; ++pass) {
        tokens.push_back(bench::milliseconds([&] { tokenCount = glasshob::MSLSyntax::tokens(text).size(); }));
        lineTimes.push_back(bench::milliseconds([&] { lineCount = split(text, ranges); }));
        ratios.push_back(tokens.back() / lineTimes.back());
    }
    const double ratio = bench::median(ratios);
    const bool isGood = ratio <= tokenTarget;
    std::printf("tokens   %zu tokens of %zu lines in %.2f ms, lines alone in %.2f ms: %.1f times (at most %.0f): %s\n",
                tokenCount, lineCount, bench::median(tokens), bench::median(lineTimes), ratio, tokenTarget,
                isGood ? "reached" : "MISSED");
    return isGood;
}

// The main thread's work for one key: the event, what it posted, and the painting.
double press(QWidget* to, int which) {
    static constexpr char letters[] = "float x = 1.0 * smoothstep(0.0, y, length(p)); // and so on\n";
    const char letter = letters[which % int(sizeof letters - 1)];
    const int key = letter == '\n' ? int(Qt::Key_Return) : 0;
    const QString text = letter == '\n' ? QStringLiteral("\r") : QString(QLatin1Char(letter));
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, text);
    return bench::milliseconds([&] {
        QApplication::sendEvent(to, &down);
        QApplication::sendEvent(to, &up);
        QApplication::processEvents();
    });
}

void toMiddle(QPlainTextEdit* editor) {
    QTextCursor caret(editor->document()->findBlockByNumber(lines / 2));
    caret.movePosition(QTextCursor::EndOfBlock);
    editor->setTextCursor(caret);
    editor->centerCursor();
}

bool measureKeys(const QString& text) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("long.metal"));
    std::ofstream(path.toStdString()) << text.toStdString();
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        std::fprintf(stderr, "%s\n", device.error().text.c_str());
        return false;
    }
    glasshob::DialogQuestions questions;
    glasshob::AppModel model({.device = *device, .questions = &questions});
    glasshob::EditorPane pane(model, nullptr);
    pane.resize(size);
    pane.show();
    model.open(path);
    QPlainTextEdit bare;
    bare.setFont(pane.editor()->font());
    bare.setLineWrapMode(QPlainTextEdit::NoWrap);
    bare.setPlainText(text);
    bare.resize(pane.editor()->size());
    bare.show();
    QApplication::processEvents();
    toMiddle(pane.editor());
    toMiddle(&bare);
    QApplication::processEvents();

    std::vector<double> ours, plain;
    for (int key = 0; key < keys + warmKeys; ++key) {
        // In turn, each with the focus, as the caret's line is painted only then.
        pane.editor()->setFocus();
        QApplication::processEvents();
        const double own = press(pane.editor(), key);
        bare.setFocus();
        QApplication::processEvents();
        const double other = press(&bare, key);
        if (key < warmKeys) continue;
        ours.push_back(own);
        plain.push_back(other);
    }
    const double own = percentile99(ours);
    const double other = percentile99(plain);
    const bool isGood = own < keyTarget && own <= bareTarget * other;
    std::printf(
        "keys     %d keys in a file of %d lines: median %.2f ms, 99th percentile %.2f ms (below %.0f); bare text "
        "field %.2f and %.2f ms: %.2f times (at most %.0f): %s\n",
        keys, lines, bench::median(ours), own, keyTarget, bench::median(plain), other, own / other, bareTarget,
        isGood ? "reached" : "MISSED");
    return isGood;
}

} // namespace

int main(int argc, char** argv) {
    const QTemporaryDir settings;
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
        setenv(name, settings.path().toUtf8().constData(), 1);
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("GlassHobBench"));
    glasshob::Theme::instance().install();
    const QString text = QString::fromStdString(bench::longSource(lines));
    const bool tokensGood = measureTokens(text);
    const bool keysGood = measureKeys(text);
    return tokensGood && keysGood ? 0 : 1;
}
