// An episode of one second and three stages in a folder of its own, for tests of what is made of episodes.
#pragma once

#include <QDir>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <string>

namespace glasshob {

inline void writeText(const QString& path, const std::string& text) {
    QFile out(path);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly)) << path.toStdString();
    out.write(text.data(), qint64(text.size()));
}

struct TinyEpisode {
    // Makes `episode-07-rings` in this folder.
    explicit TinyEpisode(const QString& in) : folder(in + QStringLiteral("/episode-07-rings")) {
        QDir().mkpath(folder + QStringLiteral("/stages"));
        writeText(source(), sourceText());
        writeText(stage(1), stageText("Flat", "float d = uv.x;"));
        writeText(stage(2), stageText("Round", "float d = length(uv);"));
    }
    QString source() const { return folder + QStringLiteral("/source.metal"); }
    QString stage(int number) const {
        return folder + QStringLiteral("/stages/%1-stage.metal").arg(number, 2, 10, QChar(u'0'));
    }

    // A line of code that the stage before does not have makes it one with a page.
    static std::string stageText(const std::string& title, const std::string& line) {
        return "// Step · " + title + "\n// What " + title + " is about.\n" + body(line);
    }
    static std::string sourceText(const std::string& line = "float d = sin(20.0 * length(uv) + u.time);") {
        return "// @episode 7 Rings\n// @length 1\n// @variation 1\n// @variations 2, 5\n// @teaches Sines\n"
               "// @final Rings | That is all.\n" +
               body(line);
    }
    static std::string body(const std::string& line) {
        return "// @param warm 0.5 0.0 1.0\n// @param volume 0.5 0.0 1.0\n"
               "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    " +
               line + "\n    return float4(d, p.warm, 0.25, 1.0);\n}\n";
    }

    QString folder;
};

} // namespace glasshob
