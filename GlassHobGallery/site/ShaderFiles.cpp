// The files of a shader, and who may see what.

#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/text/Numbers.h"

#include <unistd.h>

#include <optional>

namespace glasshob::gallery {

namespace {

struct Range {
    std::uint64_t offset = 0, size = 0;
};

// The one range that a header asks for; nothing when it asks for none, or for several, and all is given. `isBad`: it
// asks for what is not there.
std::optional<Range> rangeOf(std::string_view header, std::uint64_t size, bool& isBad) {
    constexpr std::string_view unit = "bytes=";
    if (!header.starts_with(unit) || header.contains(',')) return {};
    header.remove_prefix(unit.size());
    const std::size_t dash = header.find('-');
    if (dash == std::string_view::npos) return {};
    const auto number = [](std::string_view text) -> std::optional<std::uint64_t> {
        if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return {};
        const auto value = parseInteger(text);
        return value ? std::optional(std::uint64_t(*value)) : std::nullopt;
    };
    const auto first = number(header.substr(0, dash)), last = number(header.substr(dash + 1));
    if (!first && (!last || !header.starts_with('-'))) return {};
    if (first && !last && dash + 1 != header.size()) return {};
    if (!first) { // the last so many
        isBad = *last == 0 || size == 0;
        const std::uint64_t count = std::min(*last, size);
        return Range{size - count, count};
    }
    if (last && *last < *first) return {};
    isBad = *first >= size;
    if (isBad) return {};
    const std::uint64_t end = last ? std::min(*last + 1, size) : size;
    return Range{*first, end - *first};
}

} // namespace

bool Gallery::isSeenByLink(const Shader& shader) const {
    return !shader.deleted && !shader.hidden && !shader.isSuspended && shader.visibility != "private";
}

bool Gallery::maySee(const Visitor& visitor, const Shader& shader) const {
    if (shader.deleted) return false;
    if (isSeenByLink(shader)) return true;
    if (!visitor.account) return false;
    if (visitor.account->id == shader.account) return true;
    // Administrators see what they hide, and what they suspend; what is private is nobody's business.
    return visitor.isAdmin() && shader.visibility != "private";
}

Response Gallery::shaderFile(const Request& request, const Visitor& visitor, const std::string& id,
                             const std::string& name) {
    struct Kind {
        std::string_view name;
        std::string Media::* media;
        const char* type;
    };
    static constexpr Kind kinds[] = {{"source.metal", &Media::source, "text/plain; charset=utf-8"},
                                     {"loop.mp4", &Media::loop, "video/mp4"},
                                     {"loop-640.mp4", &Media::smallLoop, "video/mp4"},
                                     {"thumb.jpg", &Media::thumb, "image/jpeg"},
                                     {"thumb-640.jpg", &Media::smallThumb, "image/jpeg"}};
    const Kind* kind = nullptr;
    for (const Kind& candidate : kinds)
        if (candidate.name == name) kind = &candidate;
    const auto shader = kind ? database_.shader(id) : std::nullopt;
    if (!shader) return errorPage(request, visitor, 404);
    if (!maySee(visitor, *shader)) return errorPage(request, visitor, 404);
    const std::string& media = shader->media.*(kind->media);
    const std::string tag = "\"" + media.substr(0, 32) + "\"";
    Response answer;
    answer.with("ETag", tag).with("Content-Type", kind->type).with("Accept-Ranges", "bytes");
    answer.with("Content-Security-Policy", "default-src 'none'; sandbox");
    answer.with("Cache-Control", isSeenByLink(*shader) ? "public, max-age=31536000, immutable" : "private, no-store");
    if (request.knows(tag)) {
        answer.status = 304;
        return answer;
    }
    const auto file = media_.open(media);
    if (!file) throw std::runtime_error("The file " + media + " of a shader is not there.");
    bool isBad = false;
    const std::string_view ifRange = request.header("If-Range");
    const auto range =
        ifRange.empty() || ifRange == tag ? rangeOf(request.header("Range"), file->size, isBad) : std::nullopt;
    if (isBad) {
        close(file->descriptor);
        answer.status = 416;
        return answer.with("Content-Range", "bytes */" + std::to_string(file->size));
    }
    answer.file = file->descriptor;
    answer.size = file->size;
    if (range) {
        answer.status = 206;
        answer.offset = range->offset;
        answer.size = range->size;
        answer.with("Content-Range", "bytes " + std::to_string(range->offset) + "-" +
                                         std::to_string(range->offset + range->size - 1) + "/" +
                                         std::to_string(file->size));
    }
    return answer;
}

} // namespace glasshob::gallery
