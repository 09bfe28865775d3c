#include "HobProcess.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>

Outcome HobTest::hob(const QStringList& words, const QStringList& environment, const QByteArray& input) const {
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const QString& each : environment)
        variables.insert(each.section('=', 0, 0), each.section('=', 1));
    process.setProcessEnvironment(variables);
    process.setWorkingDirectory(folder_.path());
    process.start(QStringLiteral(HOB_PROGRAM), words);
    process.write(input);
    process.closeWriteChannel();
    Outcome outcome;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        ADD_FAILURE() << "hob did not finish: " << words.join(' ').toStdString();
        return outcome;
    }
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << words.join(' ').toStdString();
    outcome.status = process.exitCode();
    outcome.output = process.readAllStandardOutput();
    outcome.error = process.readAllStandardError();
    return outcome;
}

void HobTest::put(const QString& name, const QByteArray& bytes) const {
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray HobTest::get(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("absent");
}

bool HobTest::has(const QString& name) const {
    return QFile::exists(path(name));
}

QStringList HobTest::names() const {
    return QDir(folder_.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

bool HobTest::isOneSentence(const QByteArray& error) {
    return error.startsWith("hob: ") && error.count('\n') == 1 && (error.endsWith(".\n") || error.endsWith("?\n"));
}

QStringList HobTest::withoutDriver() {
    return {"VK_DRIVER_FILES=/nonexistent.json", "VK_ICD_FILENAMES=/nonexistent.json", "VK_ADD_DRIVER_FILES="};
}

QByteArray dotsShader() {
    return R"(// @particles 100
struct Particle { float3 at; float2 speed; };
Particle spawn(uint id, constant Params& p) {
    Particle q;
    q.at = float3(float(id) * 0.01, 0.5, 0.0);
    q.speed = float2(0.0, 0.1);
    return q;
}
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) { q.at.xy += q.speed * u.timeDelta; }
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.at.xy, 0.01); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(1.0 - dot(at, at)); }
float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { return previous.at(uv) * 0.9; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";
}

QByteArray meshShader() {
    return R"(// @grid 8
struct Vertex { float4 position [[position]]; float height; };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    Vertex v;
    v.height = sin(u.time + grid.x);
    v.position = float4(grid * 2.0 - 1.0, 0.5, 1.0);
    return v;
}
float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(uv, 0.0, 1.0); }
float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(v.height); }
)";
}
