// The shapes of the stock widgets (menus, scroll bars, buttons and fields of dialogs, splitters) over Qt's Fusion
// style, painted from the theme. Widgets of our own paint themselves; this is for everything Qt brings.
// Owned by the application after QApplication::setStyle. Main thread.
#pragma once

#include <QProxyStyle>

class QStyleOptionButton;
class QStyleOptionMenuItem;
class QStyleOptionSlider;

namespace glasshob {

// A menu whose entries have pictures carries their size (a QSize) under this name.
inline constexpr auto menuPictureProperty = "hobPictureSize";

class HobStyle : public QProxyStyle {
    Q_OBJECT
  public:
    HobStyle();

    void polish(QWidget* widget) override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override;

  private:
    void drawMenuItem(const QStyleOptionMenuItem& item, QSize picture, QPainter& painter) const;
    void drawScrollBar(const QStyleOptionSlider& bar, QPainter& painter) const;
    void drawButton(const QStyleOptionButton& button, QPainter& painter) const;
};

} // namespace glasshob
