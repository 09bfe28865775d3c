#pragma once

// What is painted with QPainter as something to lay over frames (OverlayQuad). Any thread.

#include <QColor>
#include <QImage>

#include <memory>

class QPainter;
class QRectF;

namespace gpu {
class Device;
class Texture;
} // namespace gpu

namespace glasshob {

// A transparent image of that size in pixels, as overlays are: premultiplied. Its memory goes back to the system with
// it: the heap keeps what it was given, and images of whole frames that come and go on several threads would leave holes
// of 33 MB each. Null when there is no memory, or nothing to paint on.
QImage overlayImage(int width, int height);

// The image as a new texture, premultiplied and texel for pixel. Null when the device has no room for it or is lost.
std::shared_ptr<gpu::Texture> textureOf(const QImage& image, gpu::Device& device);

// The smallest box round everything in that part of a premultiplied image that is not quite transparent; empty when all
// is.
QRect paintedBounds(const QImage& image, const QRect& within);

// A filled box with round corners and an edge that lies inside `box`.
struct PanelLook {
    QColor fill;
    QColor edge;
    double edgeWidth = 1;
    double radius = 10;
};
void paintPanel(QPainter& painter, const QRectF& box, const PanelLook& look);

} // namespace glasshob
