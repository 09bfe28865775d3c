// Work on threads of their own that is never waited for: a graphics driver may take very long. Any thread.
#pragma once

#include <functional>

namespace glasshob {

void runBeside(std::function<void()> work);

// Whether any such work is running. A program that ends during it must not run its ordinary end, which would take the
// driver away under it.
bool besideWorkGoesOn();

} // namespace glasshob
