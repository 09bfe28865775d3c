#pragma once

// Runs the real hob in a folder of its own that goes away with the test. One thread; a run that hangs fails the test.

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

struct Outcome {
    int status = -1;
    QByteArray output;
    QByteArray error;

    // What a person sees on failure, for messages of the tests.
    std::string shown() const { return "status " + std::to_string(status) + ", error: " + error.toStdString(); }
};

class HobTest : public testing::Test {
  protected:
    // Runs hob in the folder with these words; `environment` holds NAME=VALUE.
    Outcome hob(const QStringList& words, const QStringList& environment = {}, const QByteArray& input = {}) const;

    void put(const QString& name, const QByteArray& bytes) const;
    QByteArray get(const QString& name) const;
    bool has(const QString& name) const;
    // Everything in the folder, hidden files too.
    QStringList names() const;
    QString path(const QString& name) const { return folder_.filePath(name); }

    // One line that begins with the program's name and ends in a full stop or a question mark.
    static bool isOneSentence(const QByteArray& error);

    // Environment under which no Vulkan driver is found.
    static QStringList withoutDriver();

  private:
    QTemporaryDir folder_;
};

// A per-pixel shader of one colour.
inline QByteArray plainShader(const QByteArray& colour) {
    return "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    return float4(" + colour +
           ");\n}\n";
}

// A particle shader with trails of its own, whose particle takes 32 bytes, and a grid shader with a background.
QByteArray dotsShader();
QByteArray meshShader();
