// What a screen reader is told of the widgets that paint themselves: sliders as sliders with their value and range,
// lines of text as text, the compiler's messages as a list. The rest gives its accessible name.
// Main thread.
#pragma once

namespace glasshob {

// Once is enough; later calls do nothing.
void installAccessibleViews();

} // namespace glasshob
