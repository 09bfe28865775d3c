// Asks one address again and again over connections that stay open, as a load generator does.
#pragma once

#include <string>

namespace bench {

struct Load {
    double perSecond = 0;
    // Answers that were not 200, or connections that broke.
    int failures = 0;
};

// So many connections, each with one request under way at a time, for so many seconds. On this thread, which is meant
// to have a processor of its own. `headers` are whole lines.
Load load(int port, const std::string& path, int connections, double seconds, const std::string& headers = "");

// The processors that this thread, and every process that it starts, may use; -1 for all.
void useProcessor(int which);

} // namespace bench
