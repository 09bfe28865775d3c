#pragma once

// A shader as it is shared to the gallery: what is sent with it, whether the gallery will take it, and the parts of the
// request. A plain value; any thread.

#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/site/Multipart.h"

#include <QByteArray>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct ShareUpload {
    // In the order in which a person chooses among them.
    enum class Licence { ccByNcSa, ccBy, mit, allRightsReserved };
    enum class Visibility { public_, unlisted, private_ };

    static constexpr Licence licences[] = {Licence::ccByNcSa, Licence::ccBy, Licence::mit, Licence::allRightsReserved};
    static constexpr Visibility visibilities[] = {Visibility::public_, Visibility::unlisted, Visibility::private_};

    // Lengths of texts are in characters as a person sees them, sizes in bytes.
    static constexpr std::size_t titleLimit = 80;
    static constexpr std::size_t descriptionLimit = 500;
    static constexpr std::size_t sourceLimit = 200'000;
    static constexpr std::size_t loopLimit = 20'000'000;
    static constexpr std::size_t thumbLimit = 1'000'000;
    static constexpr std::size_t totalLimit = 25'000'000;

    // UTF-8. White space around the title is not sent.
    std::string title;
    std::string description;
    Licence licence = Licence::ccByNcSa;
    Visibility visibility = Visibility::public_;
    std::string source;
    // In the order of their lines.
    std::vector<ParamDecl> params;
    // A film as MP4, and a picture as JPEG.
    QByteArray loop;
    QByteArray thumb;

    // What the gallery would refuse it for, each a sentence; empty when it may be sent.
    std::vector<std::string> problems() const;
    // The same of what was written, before there are a film and a picture.
    std::vector<std::string> problemsOfTexts() const;
    // What is told of the shader, as JSON.
    QByteArray meta() const;
    // The parts meta, source, loop and thumb.
    Multipart multipart(std::string boundary) const;
};

// How many characters a person sees in it, an accent or a skin colour being one with what it belongs to.
std::size_t characterCount(std::string_view text);

// The forms in which they are sent ("cc-by-4.0", "unlisted"), and the name that a person sees ("CC BY 4.0").
std::string_view rawValue(ShareUpload::Licence licence);
std::string_view title(ShareUpload::Licence licence);
std::string_view rawValue(ShareUpload::Visibility visibility);

} // namespace glasshob
