#include "GlassHobCore/tests/TestAuthority.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>

namespace {

const QStringList newKey = {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};

} // namespace

TestAuthority::TestAuthority() : before_(QSslConfiguration::defaultConfiguration()) {
    openssl(QStringList{"req", "-x509", "-days", "2", "-subj", "/CN=Test authority", "-keyout", path("ca.key"), "-out",
                        path("ca.pem")} +
            newKey);
    QSslConfiguration trusting = before_;
    trusting.addCaCertificates(QSslCertificate::fromPath(path("ca.pem")));
    QSslConfiguration::setDefaultConfiguration(trusting);
}

TestAuthority::~TestAuthority() {
    QSslConfiguration::setDefaultConfiguration(before_);
}

QSslConfiguration TestAuthority::identity(const QString& name, int days) {
    const QString base = "server" + QString::number(++made_);
    openssl(QStringList{"req", "-subj", "/CN=" + name, "-keyout", path(base + ".key"), "-out", path(base + ".csr")} +
            newKey);
    QFile extensions(path("extensions"));
    EXPECT_TRUE(extensions.open(QIODevice::WriteOnly));
    extensions.write("subjectAltName=DNS:" + name.toUtf8() + "\n");
    extensions.close();
    openssl({"x509", "-req", "-in", path(base + ".csr"), "-CA", path("ca.pem"), "-CAkey", path("ca.key"),
             "-CAcreateserial", "-days", QString::number(days), "-extfile", path("extensions"), "-out",
             path(base + ".pem")});
    return load(base);
}

QSslConfiguration TestAuthority::selfSigned(const QString& name) {
    const QString base = "server" + QString::number(++made_);
    openssl(QStringList{"req", "-x509", "-days", "2", "-subj", "/CN=" + name, "-addext", "subjectAltName=DNS:" + name,
                        "-keyout", path(base + ".key"), "-out", path(base + ".pem")} +
            newKey);
    return load(base);
}

void TestAuthority::openssl(const QStringList& words) const {
    QProcess process;
    process.start("openssl", words);
    ASSERT_TRUE(process.waitForFinished(60'000));
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
}

QSslConfiguration TestAuthority::load(const QString& base) const {
    QSslConfiguration identity = before_;
    identity.setLocalCertificateChain(QSslCertificate::fromPath(path(base + ".pem")));
    QFile key(path(base + ".key"));
    EXPECT_TRUE(key.open(QIODevice::ReadOnly));
    identity.setPrivateKey(QSslKey(&key, QSsl::Ec));
    identity.setPeerVerifyMode(QSslSocket::VerifyNone); // of the client, who shows nothing
    return identity;
}
