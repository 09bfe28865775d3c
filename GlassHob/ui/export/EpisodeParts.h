// What an episode's video is made of, a row for each part with its length, and under a row what stands in its way. Its
// changes go to the model's choices. Main thread; owned by the window in which an episode is exported.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/SearchField.h"

#include <optional>

class QCheckBox;
class QHBoxLayout;
class QVBoxLayout;

namespace glasshob {

class AppModel;

// Seconds, typed or stepped with Up and Down.
class PageSecondsField : public SearchField {
    Q_OBJECT
  public:
    explicit PageSecondsField(QWidget* parent);

  signals:
    void stepped(int by);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    WheelNotches notches_;
};

// A check box with the part's name and what it holds, controls, its length, and a message with buttons under it.
class PartRow : public QWidget {
    Q_OBJECT
  public:
    PartRow(const QString& name, QWidget* parent);

    QCheckBox* check() const { return check_; }
    void addControl(QWidget* control);
    void setDetail(const QString& detail);
    // Absent while it is not known.
    void setLength(std::optional<double> seconds);
    // Whether it can be chosen at all.
    void setPossible(bool possible);

    enum class Tone { note, error };
    void tell(const QString& sentence, Tone tone, const std::vector<TextButton*>& buttons = {});
    void retract();
    bool isTelling() const { return !message_->isHidden(); }
    const QString& told() const { return text_->text(); }
    const QString& detail() const { return detail_->text(); }
    const QString& length() const { return length_->text(); }
    // Made for messages of this row; shown by tell().
    TextButton* makeButton(const QString& text);

  signals:
    // By the person.
    void toggled(bool on);

  protected:
    void mousePressEvent(QMouseEvent* event) override;

  private:
    void describe();

    QCheckBox* check_;
    TextLine *name_, *detail_, *length_;
    QHBoxLayout* controls_;
    QWidget* message_;
    QWidget *noteSign_, *errorSign_;
    WrappedText* text_;
    QHBoxLayout* buttonRow_;
    std::vector<TextButton*> buttons_;
};

class EpisodeParts : public QWidget {
    Q_OBJECT
  public:
    EpisodeParts(AppModel& model, QWidget* parent);

    PartRow* cards() const { return cards_; }
    PartRow* show() const { return show_; }
    PartRow* walkthrough() const { return walkthrough_; }
    PartRow* variations() const { return variations_; }
    PageSecondsField* pageSeconds() const { return pageSeconds_; }
    TextButton* preview() const { return preview_; }
    TextButton* choose() const { return choose_; }
    TextLine* total() const { return total_; }
    // Of a message under the walkthrough.
    TextButton* showFolder() const { return showFolder_; }
    TextButton* lookAgain() const { return lookAgain_; }
    TextButton* openStage() const { return openStage_; }
    TextButton* leaveOut() const { return leaveOut_; }
    // Why the field is refused; empty when it is not.
    const QString& refusal() const { return refusal_; }
    // Told here once the person is done with it.
    bool checkField();

  signals:
    void previewAsked();
    void variationsAsked();
    // The field is refused, or is not any more.
    void refusalChanged();

  private:
    void follow();
    void followWalkthrough();
    void followVariations();
    template <typename Change>
    void change(Change change);

    AppModel& model_;
    PartRow *cards_, *show_, *walkthrough_, *variations_;
    PageSecondsField* pageSeconds_;
    TextButton *preview_, *choose_, *showFolder_, *lookAgain_, *openStage_, *leaveOut_;
    TextLine* total_;
    QString refusal_;
};

} // namespace glasshob
