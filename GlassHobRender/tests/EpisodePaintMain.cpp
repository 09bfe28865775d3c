#include "GlassHobRender/paint/PaintFonts.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const glasshob::TextPainting painting;
    return RUN_ALL_TESTS();
}
