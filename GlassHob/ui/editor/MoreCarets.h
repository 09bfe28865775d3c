// The carets beside the editor's own: what is typed, deleted or pasted happens at all of them, as one step of undo.
// They come with the next occurrence of what is selected, and go with Escape, a click, or a key that means one place
// only. Owned by the editor; main thread.
#pragma once

#include <QTextCursor>

#include <vector>

class QKeyEvent;

namespace glasshob {

class CodeEditor;

class MoreCarets {
  public:
    static constexpr std::size_t most = 1000;

    explicit MoreCarets(CodeEditor* editor) : editor_(editor) {}

    bool isEmpty() const { return cursors_.empty(); }
    const std::vector<QTextCursor>& all() const { return cursors_; }
    void clear();

    // Selects the word at the caret; with something selected, its next occurrence too, round the end of the text.
    void addNextOccurrence();
    // All of them; the editor's own caret stays at the one it is at.
    void addAllOccurrences();
    // A caret at each stretch, the first of which is the editor's own.
    void setAll(const std::vector<QTextCursor>& cursors);

    // Whether the key was one for all carets.
    bool takesKey(const QKeyEvent& event);
    // Puts a text in at all of them.
    void insert(const QString& text);

  private:
    bool selectWord();
    // The next occurrence of a text behind a place, round the end; null where there is none.
    QTextCursor next(const QString& text, int from) const;
    bool isTaken(const QTextCursor& cursor) const;
    template <typename Edit>
    void edit(const Edit& edit);
    void move(QTextCursor::MoveOperation operation, bool selects);
    // Carets that have come to one place are one.
    void merge();

    CodeEditor* editor_;
    std::vector<QTextCursor> cursors_;
};

} // namespace glasshob
