#pragma once

// An authority of the test's own that signs servers' certificates with the openssl command, and is trusted by this
// process while it lives.

#include <QSslConfiguration>
#include <QTemporaryDir>

class TestAuthority {
  public:
    TestAuthority();
    ~TestAuthority();

    // For a server of this name ("localhost"), valid for so many days from now; of -1 it has expired.
    QSslConfiguration identity(const QString& name, int days = 2);
    // Signed by itself.
    QSslConfiguration selfSigned(const QString& name);

  private:
    QString path(const QString& file) const { return folder_.filePath(file); }
    void openssl(const QStringList& words) const;
    QSslConfiguration load(const QString& name) const;

    QTemporaryDir folder_;
    QSslConfiguration before_;
    int made_ = 0;
};
