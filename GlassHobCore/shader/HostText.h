#pragma once

// The host's own shader text around the user's, piece by piece in the order of assembly. Constants.

#include <string_view>

namespace glasshob::hostText {

extern const std::string_view prelude;
extern const std::string_view vertexEntry;
extern const std::string_view trails;
extern const std::string_view userLineMark;
extern const std::string_view fragmentKind;
extern const std::string_view gridMesh;
extern const std::string_view gridBackground;
extern const std::string_view gridPicture;
extern const std::string_view particlesBeforeFade;
extern const std::string_view fadeByUser;
extern const std::string_view fadeToNothing;
extern const std::string_view particlesAfterFade;
extern const std::string_view sound;

} // namespace glasshob::hostText
