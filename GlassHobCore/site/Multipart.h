#pragma once

// The body of a multipart/form-data request, byte for byte. A plain value; any thread.

#include <QByteArray>

#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct Multipart {
    struct Part {
        // Ends with the empty line that parts it from the data.
        std::string header;
        QByteArray data;
        bool operator==(const Part&) const = default;
    };

    // Must not occur in the data; freshBoundary's never does, as far as chance goes.
    std::string boundary;
    std::vector<Part> parts;

    // "GlassHob-" and a random UUID in capitals.
    static std::string freshBoundary();

    // Adds a part; without a file name when that is empty. Names and type must be free of quotes and line breaks.
    void add(std::string_view name, std::string_view fileName, std::string_view type, QByteArray data);

    QByteArray body() const;
    // Of the header Content-Type.
    std::string contentType() const;
};

} // namespace glasshob
