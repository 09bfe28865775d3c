#include "GlassHob/ui/controls/Icons.h"
#include "GlassHobRender/paint/ThemeTables.h"

#include <gtest/gtest.h>

namespace glasshob {
namespace {

std::uint32_t of(Role role, bool dark) {
    const ThemeEntry& entry = themeRoles[std::size_t(role)];
    return dark ? entry.dark : entry.light;
}

TEST(ThemeTables, TextReachesTheContrastOfReadableTextInBothThemes) {
    using enum Role;
    const std::pair<Role, Role> pairs[] = {{text, panel},          {text, editor},
                                           {text, control},        {text, accentTint},
                                           {text, errorTint},      {text2, panel},
                                           {text2, strip},         {text2, control},
                                           {text2, errorTint},     {text2, accentTint},
                                           {text3, panel},         {text3, strip},
                                           {text3, editor},        {lineNo, editor},
                                           {accentText, panel},    {accentText, accentTint},
                                           {onAccent, accentFill}, {onAccent, accentFillHover},
                                           {error, panel},         {error, errorTint},
                                           {error, errorLine},     {warning, panel},
                                           {note, panel},          {ok, bar},
                                           {text, tooltip},        {text2, tooltip},
                                           {text3, tooltip},       {accentText, tooltip},
                                           {text2, accentTint},    {error, field},
                                           {text, field},          {text2, bar},
                                           {text3, bar},           {text, controlHover},
                                           {text2, controlHover}};
    for (const bool dark : {true, false})
        for (const auto& [ink, ground] : pairs)
            EXPECT_GE(contrastRatio(of(ink, dark), of(ground, dark)), 4.5)
                << themeRoles[std::size_t(ink)].name << " on " << themeRoles[std::size_t(ground)].name
                << (dark ? ", dark" : ", light");
}

TEST(ThemeTables, CodeIsReadableOnEveryGroundThatALineCanHave) {
    for (const bool dark : {true, false})
        for (const ThemeEntry& code : themeCode)
            for (const Role ground : {Role::editor, Role::curLine, Role::errorLine, Role::selection, Role::match})
                EXPECT_GE(contrastRatio(dark ? code.dark : code.light, of(ground, dark)), 4.5)
                    << code.name << " on " << themeRoles[std::size_t(ground)].name << (dark ? ", dark" : ", light");
}

TEST(ThemeTables, PartsOfControlsStandOut) {
    for (const bool dark : {true, false}) {
        EXPECT_GE(contrastRatio(of(Role::accent, dark), of(Role::panel, dark)), 3.0);
        EXPECT_GE(contrastRatio(of(Role::accent, dark), of(Role::track, dark)), 3.0);
        EXPECT_GE(contrastRatio(of(Role::trackFill, dark), of(Role::panel, dark)), 3.0);
        EXPECT_GE(contrastRatio(of(Role::text3, dark), of(Role::field, dark)), 3.0);
        EXPECT_GE(contrastRatio(of(Role::matchLine, dark), of(Role::editor, dark)), 3.0);
        // A knob is seen by its fill or by its outline.
        EXPECT_GE(std::max(contrastRatio(of(Role::knob, dark), of(Role::track, dark)),
                           contrastRatio(of(Role::knobLine, dark), of(Role::panel, dark))),
                  3.0);
    }
}

TEST(ThemeTables, ContrastOfKnownPairs) {
    EXPECT_NEAR(contrastRatio(0xffffff, 0x000000), 21.0, 1e-9);
    EXPECT_NEAR(contrastRatio(0x777777, 0x777777), 1.0, 1e-9);
    EXPECT_NEAR(contrastRatio(of(Role::text, true), of(Role::panel, true)), 15.31, 0.01);
}

TEST(Icons, PathDataIsReadAsItsGrammarSays) {
    struct Case {
        const char* data;
        QRectF bounds;
    };
    const Case cases[] = {
        {"M1 2L5 8", {1, 2, 4, 6}},
        {"M1 2h4v6", {1, 2, 4, 6}},
        {"m1 2 4 6", {1, 2, 4, 6}},                               // further pairs of a move are lines
        {"M.5.25h1", {0.5, 0.25, 1, 0}},                          // a second point begins a number
        {"M10 3a7 7 0 1 0 0 14 7 7 0 0 0 0-14z", {3, 3, 14, 14}}, // a whole circle of two arcs
        {"M0 0c0 4 4 4 4 0s4-4 4 0", {0, -3, 8, 6}},
    };
    for (const Case& c : cases) {
        const QRectF bounds = pathFromSvg(c.data).boundingRect();
        EXPECT_NEAR(bounds.left(), c.bounds.left(), 1e-3) << c.data;
        EXPECT_NEAR(bounds.top(), c.bounds.top(), 1e-3) << c.data;
        EXPECT_NEAR(bounds.width(), c.bounds.width(), 1e-3) << c.data;
        EXPECT_NEAR(bounds.height(), c.bounds.height(), 1e-3) << c.data;
    }
}

} // namespace
} // namespace glasshob
