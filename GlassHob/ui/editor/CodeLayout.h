// Lays out code with one fixed line height, whatever the font's own is, so that the ruler, the bands behind lines and
// the text agree to the pixel. Owned by its document; main thread.
#pragma once

#include <QPlainTextDocumentLayout>

#include <functional>
#include <utility>

namespace glasshob {

class CodeLayout : public QPlainTextDocumentLayout {
    Q_OBJECT
  public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    // `hanging` is how far wrapped rows stand in, in pixels.
    void setCodeLine(int height, double hanging);
    // How many pixels behind the last row of a line are kept free of text where lines wrap.
    void setRoomBehind(std::function<double(const QTextBlock&)> room) { roomBehind_ = std::move(room); }
    // The rows of a wrapped line hang below its first letter.
    QRectF blockBoundingRect(const QTextBlock& block) const override;

  protected:
    // An edit inside one line that keeps its rows asks for that line to be painted, not for everything.
    void documentChanged(int from, int removed, int added) override;

  private:
    void hangRows(const QTextBlock& block) const;

    int lineHeight_ = 20;
    double hanging_ = 0;
    std::function<double(const QTextBlock&)> roomBehind_;
    int blockCount_ = 0;
};

} // namespace glasshob
