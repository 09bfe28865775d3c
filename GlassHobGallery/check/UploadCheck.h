#pragma once

// Whether what somebody sent is what it says: the shader compiles, the loop and the picture can be read whole. The work
// is done by a second process of this program without any right, under limits of time and memory.

#include <string>
#include <vector>

namespace glasshob::gallery {

struct UploadFacts {
    // What is wrong, for the person; empty when nothing is. One line of at most 300 characters.
    std::string problem;
    // Nothing could be found out; the gallery's fault.
    bool isUndone = false;
    // The disk refused the small files.
    bool isWithoutRoom = false;
    // How the second process ended, in words for the log; empty when it ended as it should.
    std::string end;

    // All taken from the source alone.
    std::string kind;
    bool hasSound = false;
    std::string forkedFrom;
    std::vector<std::string> tags;
    // As JSON: name, default, min, max, detail.
    std::string params = "[]";
};

// Files that are open: to read, and to write what is made of them.
struct UploadFiles {
    int source = -1, loop = -1, thumb = -1, smallLoop = -1, smallThumb = -1;
};

// Any thread; blocks for as long as the second process takes, at most about a minute.
UploadFacts checkUpload(const UploadFiles& files);

// The main function of the second process, whose files are open as 3 to 7.
int runUploadCheck();
inline constexpr const char* uploadCheckArgument = "--check-upload";
// Its exit status when it could not write.
inline constexpr int uploadCheckWithoutRoom = 4;

} // namespace glasshob::gallery
