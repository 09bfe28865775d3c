#include "HobProcess.h"

#include <QDir>
#include <QImage>

#include <set>

// Shaders of different character, each drawn small: a picture with structure, the same twice.
TEST_F(HobTest, DrawsEveryShaderOfTheFolder) {
    QStringList shaders = {SAMPLE_SHADER};
    const QDir folder(TEST_SHADERS);
    for (const QString& name : folder.entryList({"*.metal"}))
        shaders << folder.filePath(name);
    ASSERT_GE(shaders.size(), 6);
    for (const QString& shader : shaders) {
        const Outcome first = hob({"still", shader, "-o", "a.png", "--size", "160x90"});
        ASSERT_EQ(first.status, 0) << shader.toStdString() << ": " << first.shown();
        EXPECT_EQ(first.error, "") << shader.toStdString();
        ASSERT_EQ(hob({"still", shader, "-o", "b.png", "--size", "160x90"}).status, 0);
        EXPECT_EQ(get("a.png"), get("b.png")) << shader.toStdString();
        const QImage image(path("a.png"));
        std::set<QRgb> colours;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                colours.insert(image.pixel(x, y));
        }
        EXPECT_GT(colours.size(), 200u) << shader.toStdString();
    }
}
