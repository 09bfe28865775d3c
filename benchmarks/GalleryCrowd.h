// A gallery with many clients at once; see GalleryBench.cpp.
#pragma once

namespace bench {

// Prints what pages take with the crowd and without; nothing is judged.
void printCrowd();

} // namespace bench
