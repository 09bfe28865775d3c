#pragma once

// Takes a process's rights away for good: from here on it computes, reads and writes what is open, and nothing else. No
// file can be opened, no process started, no connection made. For processes that read what strangers sent.

namespace glasshob::gallery {

// False when the kernel refuses; then nothing of a stranger may be read.
bool giveUpRights();

} // namespace glasshob::gallery
