// The window in which the variations of an episode are chosen and put into order: the amount, the tiles, those that are
// in the episode, and the line that says so. It follows the open document. Not modal: one goes on editing. What is
// chosen reaches the text only by Write the Line, or Return. Main thread; deletes itself when it is closed.
#pragma once

#include <QDialog>

#include <cstdint>
#include <vector>

namespace glasshob {

class AppModel;
class FilledPane;
class LineField;
class ParameterSlider;
class TextButton;
class TextLine;
class ValueField;
class VariationGrid;
class VariationPicker;
class VariationStrip;

class VariationsWindow : public QDialog {
    Q_OBJECT
  public:
    VariationsWindow(AppModel& model, QWidget* parent);
    ~VariationsWindow() override;

    // Before the other windows, with the keyboard.
    void comeForward();

    VariationPicker& picker() const { return *picker_; }
    VariationGrid* grid() const { return grid_; }
    VariationStrip* strip() const { return strip_; }
    LineField* line() const { return line_; }
    ParameterSlider* amount() const { return amount_; }
    ValueField* amountField() const { return amountField_; }
    TextLine* count() const { return count_; }
    TextLine* outcome() const { return outcome_; }
    TextLine* message() const { return message_; }
    TextButton* writeButton() const { return write_; }

  signals:
    // The open document's header is to name these.
    void writeWanted(const std::vector<std::int64_t>& indices);

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    QWidget* makeBar();
    QWidget* makeChosen();
    void follow();
    void followChosen();
    void followAmount();
    void followSeen();
    void followSize();
    void followScreen();
    void write();
    QString outcomeText() const;
    QString messageText() const;

    AppModel& model_;
    VariationPicker* picker_;
    FilledPane* bar_ = nullptr;
    ParameterSlider* amount_ = nullptr;
    ValueField* amountField_ = nullptr;
    TextLine *hint_ = nullptr, *count_ = nullptr;
    QWidget* trouble_ = nullptr;
    VariationGrid* grid_ = nullptr;
    FilledPane* instead_ = nullptr;
    TextLine* message_ = nullptr;
    QWidget *chosenPane_ = nullptr, *chosenHeading_ = nullptr;
    TextLine* lengths_ = nullptr;
    VariationStrip* strip_ = nullptr;
    LineField* line_ = nullptr;
    TextLine* outcome_ = nullptr;
    TextButton *cancel_ = nullptr, *write_ = nullptr;
};

} // namespace glasshob
