#pragma once

// A link of the gallery that opens a shader here: "glasshob://open?src=" and the percent-encoded https address of a
// .metal file on the gallery's www host. Such links come from anywhere, so an address is taken apart strictly, and what
// is downloaded is put together anew from the parts that were checked. Pure; any thread; linear in the link.

#include "GlassHobCore/site/Site.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob {

struct OpenLink {
    struct Problem {
        enum class Kind { notAllowed, notAnOpenLink, missingSource };
        Kind kind = Kind::notAnOpenLink;
        // Of notAllowed: what is wrong with the address.
        std::string reason;
        // The name of the gallery whose shaders are opened.
        std::string site;

        // The sentence for the person.
        std::string description() const;
        bool operator==(const Problem&) const = default;
    };

    // The address to download from: ASCII, without user, query and fragment.
    std::string source;
    // The gallery's name for it ("episode-07", "episode-07/2-rings", "s/ab12"), when the path has one.
    std::optional<std::string> item;
    // The name to save it under; always one that safeFileName lets pass.
    std::string fileName;

    // The address must be on the host and the port of this gallery. With a gallery that runs on this machine it may
    // also be on "localhost", at any port and without encryption: for those who work on the gallery itself.
    static std::expected<OpenLink, Problem> parse(std::string_view link, const Site& site);

    // A text that was downloaded from there, with a line for the item.
    std::string stamped(std::string_view text) const;

    bool operator==(const OpenLink&) const = default;
};

// A name that is safe in any folder, of a name from elsewhere: ASCII letters, digits, blanks, ".", "-" and "_", with a
// "-" for every other character, none of ".", "-" and blank at the front, at most 100 characters and ".metal". It is
// "shader.metal" when nothing is left.
std::string safeFileName(std::string_view name);

} // namespace glasshob
