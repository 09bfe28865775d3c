// Helps with the code that is being typed: the completion list, the signature of the call round the caret and of the
// name under the pointer, the pair of the bracket at the caret. It keeps an index of what the text declares and reads
// again only the lines that an edit changed.
//
// Keys: the list comes by itself after two letters, a dot or the like, and with Ctrl+Space. Tab takes the chosen name,
// and so does Return where something of it was typed or it was chosen with the arrows; Escape closes the list.
// Owned by its editor; main thread.
#pragma once

#include "GlassHobCore/code/CodeCompletion.h"

#include <QBasicTimer>
#include <QObject>
#include <QPoint>
#include <QTextCursor>

namespace glasshob {

class CodeEditor;
class CodeTip;
class CompletionPopup;

class CodeAssistant : public QObject {
    Q_OBJECT
  public:
    explicit CodeAssistant(CodeEditor* editor);

    // The list, as asked for with Ctrl+Space.
    void complete();
    // Takes everything away that lies over the code.
    void dismiss();

    const SymbolIndex& index() const { return index_; }
    CompletionPopup* popup() const { return popup_; }
    CodeTip* callTip() const { return callTip_; }
    CodeTip* hoverTip() const { return hoverTip_; }
    // What the pointer's place in the viewport shows.
    void describeAt(const QPoint& place);

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

  private:
    void followCaret();
    void keyHandled(const QString& text);
    bool takesKey(int key, Qt::KeyboardModifiers modifiers);
    bool steersList(int key, Qt::KeyboardModifiers modifiers);
    void offer(bool isAsked);
    void closeList();
    // Puts what is open to where its place in the code now is.
    void follow();
    void giveWay();
    QRect listPlace() const;
    void accept(int item);
    void showCall();
    void markBrackets();
    int positionOf(SymbolIndex::Place place) const;
    // Of a stretch of the text, in the viewport.
    QRect rectOf(int from, int to) const;

    CodeEditor* editor_;
    CompletionPopup* popup_;
    CodeTip* callTip_;
    CodeTip* hoverTip_;
    SymbolIndex index_;
    Completions list_;
    bool isAsked_ = false;
    bool isChosen_ = false; // with the arrows
    int listLine_ = 0;
    bool callWaits_ = false;  // its signature is hidden while the list lies there
    QTextCursor closing_;     // before a bracket that a completion has put in
    bool justOpened_ = false; // and nothing was typed since
    QBasicTimer hoverTimer_;
    QPoint hoverPlace_;
    QRect hoverWord_; // in the viewport, while its tip is shown
};

} // namespace glasshob
