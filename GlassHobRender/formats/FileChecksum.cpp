#include "GlassHobRender/formats/FileChecksum.h"

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>
#include <optional>
#include <random>

namespace glasshob::FileChecksum {

namespace {

constexpr qint64 digits = 64;
constexpr qint64 piece = 1 << 20;

// Where these digits begin; the index with the metadata stands near the file's beginning.
std::optional<qint64> find(QFile& file, const QByteArray& wanted) {
    QByteArray window;
    qint64 begin = 0;
    file.seek(0);
    while (true) {
        const QByteArray read = file.read(piece);
        if (read.isEmpty()) return std::nullopt;
        window += read;
        if (const qsizetype at = window.indexOf(wanted); at >= 0) return begin + at;
        const qsizetype kept = std::min<qsizetype>(window.size(), digits - 1);
        begin += window.size() - kept;
        window = window.right(kept);
    }
}

std::optional<QByteArray> sumWithout(QFile& file, qint64 at) {
    QCryptographicHash hash(QCryptographicHash::Blake2b_256);
    file.seek(0);
    for (qint64 begin = 0; begin < file.size();) {
        QByteArray read = file.read(piece);
        if (read.isEmpty()) return std::nullopt;
        const qint64 first = std::max(at - begin, qint64(0));
        const qint64 end = std::min(at + digits - begin, qint64(read.size()));
        if (first < end) std::fill(read.begin() + first, read.begin() + end, '0');
        hash.addData(read);
        begin += read.size();
    }
    return hash.result().toHex();
}

} // namespace

const std::string& placeholder() {
    static const std::string text = [] {
        std::random_device random;
        std::string made;
        while (made.size() < std::size_t(digits))
            made += "0123456789abcdef"[random() % 16];
        return made;
    }();
    return text;
}

std::expected<void, std::string> stamp(const std::string& path) {
    QFile file(QFile::decodeName(path.c_str()));
    const auto fail = [&] {
        return std::unexpected(path + " could not be given its checksum (" + file.errorString().toStdString() +
                               "): choose another place.");
    };
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) return fail();
    const auto at = find(file, QByteArray::fromStdString(placeholder()));
    const auto sum = at ? sumWithout(file, *at) : std::nullopt;
    if (!sum || !file.seek(*at) || file.write(*sum) != digits || !file.flush()) return fail();
    return {};
}

bool isIntact(const std::string& path, std::string_view sum) {
    QFile file(QFile::decodeName(path.c_str()));
    if (qint64(sum.size()) != digits || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) return false;
    const QByteArray told(sum.data(), qsizetype(sum.size()));
    const auto at = find(file, told);
    return at && sumWithout(file, *at) == told;
}

} // namespace glasshob::FileChecksum
