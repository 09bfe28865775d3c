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

} // namespace

Templates::Templates(const std::string& folder) : cache_(std::make_unique<ctemplate::TemplateCache>()) {
    std::error_code error;
    bool isEmpty = true;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        std::ifstream file(entry.path(), std::ios::binary);
        // Said here and not in the files: none can forget it.
        const std::string text =
            "{{%AUTOESCAPE context=\"HTML\"}}" + std::string((std::istreambuf_iterator<char>(file)), {});
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
