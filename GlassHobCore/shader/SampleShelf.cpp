#include "GlassHobCore/shader/SampleShelf.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/files/ShaderFile.h"

#include <algorithm>
#include <filesystem>

namespace glasshob::SampleShelf {

namespace {

constexpr std::string_view ending = ".metal";
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

std::string title(std::string_view text, std::string_view file) {
    const std::string_view line = trimmed(text.substr(0, text.find('\n')));
    const std::string_view words = line.starts_with("//") ? trimmed(line.substr(2)) : std::string_view();
    if (!words.empty() && !words.starts_with('@')) return std::string(words);
    return std::string(file.ends_with(ending) ? file.substr(0, file.size() - ending.size()) : file);
}

std::vector<Sample> all() {
    std::vector<Sample> samples;
    const std::string folder = Identity::resourcePath("Shaders");
    if (folder.empty()) return samples;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string file = entry.path().filename().string();
        auto text =
            file.ends_with(ending) ? ShaderFile::read(entry.path().string()) : std::unexpected(ShaderFile::Failure{});
        if (!text) continue;
        const AssembledShader assembled = ShaderAssembler::assemble(*text);
        samples.push_back({file, title(*text, file), assembled.kind(), assembled.hasSound, std::move(*text)});
    }
    std::ranges::sort(samples, {}, &Sample::file);
    return samples;
}

std::expected<std::string, std::string> copyInto(const std::string& folder, const Sample& sample) {
    std::string name = sample.title;
    std::ranges::replace(name, '/', '-');
    if (name.starts_with('.')) name.front() = '-';
    for (int number = 1;; ++number) {
        std::string path = folder + "/" + name;
        if (number > 1) path += " " + std::to_string(number);
        path += ending;
        const auto there = ShaderFile::read(path);
        if (there && *there == sample.text) return path;
        // Anything else of that name, readable or not, is the person's own.
        if (there || there.error().problem != ShaderFile::Problem::missing) continue;
        if (auto written = AtomicFile::write(path, sample.text); !written)
            return std::unexpected(std::move(written.error()));
        return path;
    }
}

} // namespace glasshob::SampleShelf
