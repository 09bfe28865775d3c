// The colours of the window and of painted pages, dark and light, by role: the only place where a colour is written
// down. Plain constants without Qt, so that a test can compute every contrast ratio from them.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace glasshob {

enum class Role : std::uint8_t {
    window,
    bar,
    panel,
    strip,
    editor,
    canvas,
    field,
    control,
    controlHover,
    controlPressed,
    tooltip,
    line,
    lineStrong,
    text,
    text2,
    text3,
    disabled,
    accent,
    accentFill,
    accentFillHover,
    onAccent,
    accentText,
    accentTint,
    ok,
    error,
    errorTint,
    errorLine,
    warning,
    note,
    selection,
    curLine,
    match,
    matchLine,
    lineNo,
    lineNoCur,
    track,
    trackFill,
    knob,
    knobLine,
    count
};

// The colours of code; the order after `plain` is that of SyntaxKind.
enum class CodeRole : std::uint8_t {
    plain,
    comment,
    header,
    headerKey,
    keyword,
    type,
    number,
    string,
    preprocessor,
    attribute,
    count
};

struct ThemeEntry {
    std::string_view name;
    std::uint32_t dark;
    std::uint32_t light;
};

// clang-format off
inline constexpr std::array<ThemeEntry, std::size_t(Role::count)> themeRoles{{
    {"window",          0x171415, 0xF3EFEB}, // behind everything, gaps between panes
    {"bar",             0x1B1718, 0xF8F5F2}, // menu bar, toolbar, status line
    {"panel",           0x1B1718, 0xF8F5F2}, // inspector, message list, dialogs, overlays
    {"strip",           0x201B1C, 0xF1ECE7}, // strips over panes, dialog footers
    {"editor",          0x110E0F, 0xFFFDFB}, // behind code
    {"canvas",          0x090708, 0x090708}, // behind the picture
    {"field",           0x110E0F, 0xFFFFFF}, // text fields, value fields, check boxes
    {"control",         0x2A2425, 0xFFFFFF}, // buttons, toggles that are on, chips
    {"controlHover",    0x342D2E, 0xF3ECE6}, // pointer over a control, current row of a list
    {"controlPressed",  0x231E1F, 0xEAE2DB}, // control held down
    {"tooltip",         0x2A2425, 0xFFFFFF}, // hover messages, menus
    {"line",            0x2E2728, 0xE0D8D1}, // separators, splitter lines, quiet borders
    {"lineStrong",      0x463D3E, 0xC4B9B0}, // borders of buttons, fields and dialogs; scroll handles
    {"text",            0xF3EDE9, 0x221C1A},
    {"text2",           0xBDB2AD, 0x5A504B}, // secondary text, icons
    {"text3",           0x958A85, 0x736862}, // hints, captions, descriptions, unchecked borders
    {"disabled",        0x655B58, 0xA89D96},
    {"accent",          0xE0420D, 0xD23C0A}, // slider fill when changed, progress, ruler notch
    {"accentFill",      0xCC3B0B, 0xC4370A}, // primary button, checked box
    {"accentFillHover", 0xB83409, 0xAD3008},
    {"onAccent",        0xFFF6EC, 0xFFF8F1}, // text and icons on accentFill
    {"accentText",      0xFF8A4C, 0xB4330A}, // links, focus rings, caret, check marks
    {"accentTint",      0x3A1D11, 0xFBE3D6}, // selected row, link banner
    {"ok",              0xFFB061, 0x96590A}, // the dot of "Live"
    {"error",           0xFF6B81, 0xBE1840},
    {"errorTint",       0x35171D, 0xFCE4E8}, // error strip over the preview
    {"errorLine",       0x2A1519, 0xFDEFF1}, // behind a line with an error
    {"warning",         0xF0C04F, 0x8A6100},
    {"note",            0x8FB4E8, 0x2C5FA8},
    {"selection",       0x401E0F, 0xFBDCCB}, // selected code
    {"curLine",         0x1A1617, 0xF8F3EE}, // the caret's line
    {"match",           0x2A2425, 0xF3ECE6}, // found text and paired brackets
    {"matchLine",       0x857A75, 0x8F837B}, // round found text
    {"lineNo",          0x857A75, 0x776C65},
    {"lineNoCur",       0xF3EDE9, 0x221C1A},
    {"track",           0x352E2F, 0xD9CFC7}, // slider and progress track
    {"trackFill",       0x958A85, 0x8F837B}, // slider fill at the default value
    {"knob",            0xFFF2DE, 0xFFFFFF},
    {"knobLine",        0x0B0909, 0x8F837B},
}};

inline constexpr std::array<ThemeEntry, std::size_t(CodeRole::count)> themeCode{{
    {"plain",        0xE9E1DC, 0x2A2320},
    {"comment",      0x978C86, 0x6A625B},
    {"header",       0xCDAE93, 0x7A5A3A},
    {"headerKey",    0xFF8A4C, 0xAB2F08},
    {"keyword",      0xC6A2F2, 0x6A3BB5},
    {"type",         0x7CC8D8, 0x096374},
    {"number",       0xF2C27E, 0x7F5200},
    {"string",       0xA8CE8E, 0x3A681B},
    {"preprocessor", 0xDB90C8, 0x9C2F80},
    {"attribute",    0x8CB0F0, 0x2A58B0},
}};
// clang-format on

static_assert(themeRoles[std::size_t(Role::text)].name == "text" && themeRoles.back().name == "knobLine");
static_assert(themeCode.back().name == "attribute");

// The WCAG 2 relative luminance of an sRGB colour, and the contrast ratio of two (1 to 21).
inline double relativeLuminance(std::uint32_t rgb) {
    auto linear = [rgb](int shift) {
        double c = double((rgb >> shift) & 0xff) / 255.0;
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(16) + 0.7152 * linear(8) + 0.0722 * linear(0);
}

inline double contrastRatio(std::uint32_t a, std::uint32_t b) {
    double la = relativeLuminance(a), lb = relativeLuminance(b);
    return la > lb ? (la + 0.05) / (lb + 0.05) : (lb + 0.05) / (la + 0.05);
}

} // namespace glasshob
