// The application's icon, drawn from its geometry at any size: an oven arch on its slab with the fire of the first
// shader in its opening. Main thread.
#pragma once

#include <QIcon>
#include <QImage>

namespace glasshob {

// The icon at one size in pixels, with a transparent ground.
QImage applicationIconImage(int side);

// The icon in the sizes that desktops ask for.
QIcon applicationIcon();

} // namespace glasshob
