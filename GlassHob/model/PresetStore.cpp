#include "GlassHob/model/PresetStore.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/text/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace glasshob {

namespace {

using File = std::map<QString, PresetStore::Presets>;

// The shortest number that reads back as the same float: 0.1 rather than 0.10000000149011612.
double shortest(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    double number = 0;
    std::from_chars(text, end.ptr, number);
    return float(number) == value ? number : double(value);
}

std::optional<float> asFloat(const QJsonValue& value) {
    if (!value.isDouble()) return std::nullopt;
    const double number = value.toDouble();
    if (std::abs(number) > double(std::numeric_limits<float>::max())) return std::nullopt;
    return float(number);
}

std::optional<File> decode(const QByteArray& bytes) {
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject()) return std::nullopt;
    File file;
    const QJsonObject shaders = document.object();
    for (auto shader = shaders.begin(); shader != shaders.end(); ++shader) {
        if (!shader.value().isObject()) return std::nullopt;
        PresetStore::Presets& presets = file[shader.key()];
        const QJsonObject names = shader.value().toObject();
        for (auto name = names.begin(); name != names.end(); ++name) {
            if (!name.value().isObject()) return std::nullopt;
            SliderValues& values = presets[name.key()];
            const QJsonObject numbers = name.value().toObject();
            for (auto number = numbers.begin(); number != numbers.end(); ++number) {
                const std::optional<float> value = asFloat(number.value());
                if (!value) return std::nullopt;
                values[number.key().toStdString()] = *value;
            }
        }
    }
    return file;
}

std::optional<QByteArray> encode(const File& file) {
    QJsonObject shaders;
    for (const auto& [key, presets] : file) {
        QJsonObject names;
        for (const auto& [name, values] : presets) {
            QJsonObject numbers;
            for (const auto& [parameter, value] : values) {
                if (!std::isfinite(value)) return std::nullopt;
                numbers[QString::fromStdString(parameter)] = shortest(value);
            }
            names[name] = numbers;
        }
        shaders[key] = names;
    }
    return QJsonDocument(shaders).toJson(QJsonDocument::Indented);
}

// What the file holds; nothing when it is something other than presets. A file that is not there holds no presets.
std::optional<File> read(const QString& path) {
    // A link that leads nowhere is no file either.
    if (!QFileInfo::exists(path)) return File{};
    // Reading a pipe would wait for its writer.
    if (!QFileInfo(path).isFile()) return std::nullopt;
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly)) return std::nullopt;
    const QByteArray bytes = in.readAll();
    if (in.error() != QFileDevice::NoError) return std::nullopt;
    if (bytes.trimmed().isEmpty()) return File{};
    return decode(bytes);
}

// Whether what the file holds is safe under another name.
bool keepAside(const QString& path) {
    const QFileInfo info(path);
    for (int number = 1; number < 1000; ++number) {
        const QString name =
            number == 1 ? QStringLiteral("presets-broken.json") : QStringLiteral("presets-broken-%1.json").arg(number);
        const QString aside = info.dir().filePath(name);
        if (!QFileInfo::exists(aside)) return (info.isFile() && QFile::copy(path, aside)) || QFile::rename(path, aside);
    }
    return false;
}

void write(const QString& path, const File& file) {
    const auto bytes = encode(file);
    if (!bytes) return;
    QDir().mkpath(QFileInfo(path).absolutePath());
    const std::string_view content(bytes->constData(), std::size_t(bytes->size()));
    [[maybe_unused]] const auto written = AtomicFile::write(QFile::encodeName(path).toStdString(), content);
}

auto named(PresetStore::Presets& presets, const QString& name) {
    return std::ranges::find_if(presets, [&](const auto& entry) { return isSamePresetName(entry.first, name); });
}

} // namespace

bool isSamePresetName(const QString& a, const QString& b) {
    return a == b || a.normalized(QString::NormalizationForm_C) == b.normalized(QString::NormalizationForm_C);
}

PresetStore::PresetStore(QString path) : path_(std::move(path)) {}

QString PresetStore::standardPath() {
    const QDir data(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    const auto folder = Identity::folderName;
    return data.filePath(asQString(folder) + QStringLiteral("/presets.json"));
}

PresetStore::Presets PresetStore::presets(const QString& key) const {
    const auto file = read(path_);
    if (!file) return {};
    const auto entry = file->find(key);
    return entry == file->end() ? Presets{} : entry->second;
}

void PresetStore::save(const SliderValues& values, const QString& name, const QString& key) const {
    auto file = read(path_);
    File all = file ? std::move(*file) : File{};
    Presets& presets = all[key];
    if (const auto same = named(presets, name); same != presets.end()) presets.erase(same);
    presets[name] = values;
    if (!encode(all)) return;
    if (!file && !keepAside(path_)) return;
    write(path_, all);
}

void PresetStore::delete_(const QString& name, const QString& key) const {
    auto file = read(path_);
    if (!file) return;
    const auto entry = file->find(key);
    if (entry == file->end()) return;
    const auto same = named(entry->second, name);
    if (same == entry->second.end()) return;
    entry->second.erase(same);
    if (entry->second.empty()) file->erase(entry);
    write(path_, *file);
}

} // namespace glasshob
