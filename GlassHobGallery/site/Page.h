#pragma once

// Pages from templates. Every value is escaped for the place where it stands in the HTML; there is no way to put one in
// as it is. A page is made by one thread; the templates may be used by all.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ctemplate {
class TemplateCache;
class TemplateDictionary;
} // namespace ctemplate

namespace glasshob::gallery {

class Templates {
  public:
    // Reads every template of a folder; what several share lies in its folder parts and is put in for [[its-name]].
    // Throws std::runtime_error about one that cannot be used.
    explicit Templates(const std::string& folder);
    ~Templates();

    ctemplate::TemplateCache& cache() const { return *cache_; }

  private:
    std::unique_ptr<ctemplate::TemplateCache> cache_;
};

// The values of a page, or of one section of it.
class Values {
  public:
    explicit Values(ctemplate::TemplateDictionary& dictionary) : dictionary_(&dictionary) {}
    Values& set(std::string_view name, std::string_view value);
    Values& set(std::string_view name, std::int64_t value);
    // Shows a section once, or leaves it out.
    Values& show(std::string_view name, bool isShown = true);
    // Shows a section once more, with values of its own beside these.
    Values add(std::string_view section);

  protected:
    ctemplate::TemplateDictionary* dictionary_;
};

class Page : public Values {
  public:
    // A template in the frame that all pages share.
    Page(const Templates& templates, const std::string& name);
    Page(Page&&) noexcept;
    ~Page();
    // For the frame and for what is in it.
    Page& set(std::string_view name, std::string_view value);
    Page& set(std::string_view name, std::int64_t value);
    // The sections of the frame.
    Values frame();
    std::string html() const;

  private:
    Page(const Templates& templates, const std::string& name, std::unique_ptr<ctemplate::TemplateDictionary> frame);
    const Templates& templates_;
    std::unique_ptr<ctemplate::TemplateDictionary> frame_;
};

} // namespace glasshob::gallery
