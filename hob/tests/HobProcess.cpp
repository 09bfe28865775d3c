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
