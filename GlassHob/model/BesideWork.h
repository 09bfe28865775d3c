// Work on threads of their own that nobody waits for: what a graphics driver does may take very long. Any thread.
#pragma once

#include <functional>

namespace glasshob {

void runBeside(std::function<void()> work);

// Whether any such work goes on. A program that ends meanwhile must not run its ordinary end, which would take the
// driver away under it.
bool besideWorkGoesOn();

} // namespace glasshob
