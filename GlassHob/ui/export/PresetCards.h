// The export presets as cards of which one is chosen: the name, codec and bit rate under it. Up and Down move, as in
// every group of radio buttons. Main thread; owned by its parent.
#pragma once

#include <QRadioButton>

#include <string>
#include <vector>

namespace glasshob {

struct ExportChoices;
struct ExportPreset;

class PresetCard : public QRadioButton {
    Q_OBJECT
  public:
    PresetCard(const ExportPreset& preset, QWidget* parent);
    const std::string& id() const { return id_; }
    void setTexts(const QString& name, const QString& encoding);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return {sizeHint().width() / 2, sizeHint().height()}; }

  signals:
    // An arrow key: -1 or 1.
    void stepped(int step);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool hitButton(const QPoint& place) const override { return rect().contains(place); }
    void paintEvent(QPaintEvent* event) override;

  private:
    std::string id_;
    QString encoding_;
};

class PresetCards : public QWidget {
    Q_OBJECT
  public:
    enum class Offers { presets, ownToo };
    explicit PresetCards(QWidget* parent, Offers offers = Offers::ownToo);
    void choose(const std::string& id);
    // As the choices have them: what the format makes of each, and the person's own size and rate.
    void follow(const ExportChoices& choices);
    // The presets, and where it is offered the person's own last.
    const std::vector<PresetCard*>& cards() const { return cards_; }

  signals:
    void chosen(const std::string& id);

  private:
    void step(const PresetCard* from, int step);

    std::vector<PresetCard*> cards_;
};

} // namespace glasshob
