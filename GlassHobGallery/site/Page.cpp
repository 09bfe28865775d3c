#include "GlassHobGallery/site/Page.h"

#include <ctemplate/template.h>
#include <ctemplate/template_cache.h>
#include <ctemplate/template_dictionary.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

ctemplate::TemplateString asTemplateString(std::string_view text) {
    return {text.data(), text.size()};
}

std::string contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("The page template " + path.string() + " cannot be read.");
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

// A template with the text of parts/NAME.html in the place of every [[NAME]].
std::string withParts(std::string text, const std::filesystem::path& parts) {
    for (std::size_t at = 0; (at = text.find("[[", at)) != std::string::npos;) {
        const std::size_t end = text.find("]]", at);
        if (end == std::string::npos) throw std::runtime_error("A [[ in a page template has no ]].");
        std::string part = contents(parts / (text.substr(at + 2, end - at - 2) + ".html"));
        if (part.ends_with('\n')) part.pop_back();
        text.replace(at, end + 2 - at, part);
    }
    return text;
}

} // namespace

Templates::Templates(const std::string& folder) : cache_(std::make_unique<ctemplate::TemplateCache>()) {
    std::error_code error;
    bool isEmpty = true;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (!entry.is_regular_file()) continue;
        // Said here and not in the files: none can forget it.
        const std::string text = "{{%AUTOESCAPE context=\"HTML\"}}" +
                                 withParts(contents(entry.path()), entry.path().parent_path() / "parts");
        const std::string name = entry.path().filename();
        if (!cache_->StringToTemplateCache(name, text, ctemplate::STRIP_BLANK_LINES))
            throw std::runtime_error("The template " + entry.path().string() + " cannot be used.");
        isEmpty = false;
    }
    if (isEmpty) throw std::runtime_error("There are no page templates in " + folder + ". Install the gallery whole.");
    cache_->Freeze();
}

Templates::~Templates() = default;

Values& Values::set(std::string_view name, std::string_view value) {
    dictionary_->SetValue(asTemplateString(name), asTemplateString(value));
    return *this;
}

Values& Values::set(std::string_view name, std::int64_t value) {
    return set(name, std::to_string(value));
}

Values& Values::show(std::string_view name, bool isShown) {
    if (isShown) dictionary_->ShowSection(asTemplateString(name));
    return *this;
}

Values Values::add(std::string_view section) {
    return Values(*dictionary_->AddSectionDictionary(asTemplateString(section)));
}

Page::Page(const Templates& templates, const std::string& name)
    : Page(templates, name, std::make_unique<ctemplate::TemplateDictionary>("page")) {}

Page::Page(const Templates& templates, const std::string& name, std::unique_ptr<ctemplate::TemplateDictionary> frame)
    : Values(*frame->AddIncludeDictionary("MAIN")), templates_(templates), frame_(std::move(frame)) {
    dictionary_->SetFilename(name);
}

Page::Page(Page&&) noexcept = default;
Page::~Page() = default;

Page& Page::set(std::string_view name, std::string_view value) {
    frame_->SetTemplateGlobalValue(asTemplateString(name), asTemplateString(value));
    return *this;
}

Page& Page::set(std::string_view name, std::int64_t value) {
    return set(name, std::to_string(value));
}

Values Page::frame() {
    return Values(*frame_);
}

std::string Page::html() const {
    std::string text;
    if (!templates_.cache().ExpandNoLoad("frame.html", ctemplate::STRIP_BLANK_LINES, frame_.get(), nullptr, &text))
        throw std::logic_error("A page cannot be made.");
    return text;
}

} // namespace glasshob::gallery
