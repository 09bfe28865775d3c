#include "GlassHobCore/episode/EpisodeShelf.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobCore/files/NewFile.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/GalleryNames.h"
#include "GlassHobCore/text/Ascii.h"

#include <algorithm>
#include <charconv>

namespace glasshob::EpisodeShelf {

namespace {

constexpr std::string_view prefix = "episode-", ending = ".metal", sourceName = "source.metal", stages = "stages/";

std::string nameOf(std::string_view folder) {
    return std::string(folder.substr(folder.rfind('/') + 1));
}

std::string_view stem(std::string_view file) {
    return file.ends_with(ending) ? file.substr(0, file.size() - ending.size()) : file;
}

// The digits behind "episode-"; the rest of the name follows.
std::string_view digitsOf(std::string_view folderName) {
    if (!folderName.starts_with(prefix)) return {};
    folderName.remove_prefix(prefix.size());
    return folderName.substr(0, std::size_t(std::ranges::find_if_not(folderName, isDigit) - folderName.begin()));
}

std::int64_t numberOf(std::string_view digits) {
    std::int64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

Shelved shelved(std::string folder) {
    Shelved made;
    const std::string name = nameOf(folder);
    made.number = numberOf(digitsOf(name));
    made.title = name;
    made.folder = std::move(folder);
    const auto episode = EpisodeFolder::read(made.folder);
    if (!episode) {
        made.problem = episode.error().sentence;
        return made;
    }
    made.number = episode->meta.number;
    made.title = episode->meta.title;
    for (const EpisodeFile& stage : episode->stages) {
        std::string title = Walkthrough::parse(stage.text).title;
        if (title.empty()) title = "Stage " + std::to_string(made.entries.size() + 1);
        made.entries.push_back({stage.name, std::move(title)});
    }
    made.entries.push_back({episode->source.name, episode->meta.finalTitle});
    return made;
}

} // namespace

std::vector<Shelved> all(const std::string& ownFolder) {
    std::vector<Shelved> made;
    for (const std::string& folder : {Identity::resourcePath("Episodes"), ownFolder})
        for (std::string& episode : folder.empty() ? std::vector<std::string>() : EpisodeFolder::list(folder)) {
            Shelved next = shelved(std::move(episode));
            const auto place = std::ranges::upper_bound(made, next.number, {}, &Shelved::number);
            made.insert(place, std::move(next));
        }
    return made;
}

Copy copyOf(std::string_view folderName, std::string_view entry) {
    const bool isStage = entry.starts_with(stages);
    const std::string_view stage = isStage ? stem(entry.substr(stages.size())) : std::string_view();
    Copy made{std::string(folderName), {}};
    if (isStage) made.fileName.append("-").append(stage);
    made.fileName += ending;
    auto item = GalleryNames::episodeOfFolder(folderName);
    if (item && isStage) item->append("/").append(stage);
    if (item && GalleryNames::isItem(*item)) made.item = std::move(item);
    return made;
}

std::expected<std::string, std::string> copyInto(const std::string& ownFolder, const std::string& episode,
                                                 const std::string& entry) {
    const auto read = EpisodeFolder::read(episode);
    if (!read) return std::unexpected(read.error().sentence);
    const EpisodeFile* file = entry == sourceName ? &read->source : nullptr;
    for (const EpisodeFile& stage : read->stages)
        if (stage.name == entry) file = &stage;
    if (file == nullptr)
        return std::unexpected("There is no " + entry + " in " + episode + " any more: choose another stage.");
    const Copy copy = copyOf(nameOf(episode), entry);
    return NewFile::write(ownFolder, copy.fileName, copy.item ? ForkedFrom::stamp(file->text, *copy.item) : file->text);
}

} // namespace glasshob::EpisodeShelf
