// The bytes of the file that the editor shows, kept up line by line: a key in a long file encodes its own line, not the
// file. Starts as one empty line. Plain value; one thread.
#pragma once

#include "GlassHob/ui/editor/EditorText.h"

#include <cstdint>
#include <vector>

namespace glasshob {

class FileBytes {
  public:
    // An empty file with a text's conventions.
    void clear(const EditorText& conventions);
    // The document's lines [first, first + removed) have become these, with what the conventions make of them.
    void replaceLines(const EditorText& conventions, int first, int removed, const std::vector<QString>& lines);

    int lineCount() const { return int(sizes_.size()); }
    const std::string& bytes() const { return bytes_; }

  private:
    std::string bytes_;
    std::vector<std::uint32_t> sizes_ = {0}; // of each line with its end, the byte-order mark left out
};

} // namespace glasshob
