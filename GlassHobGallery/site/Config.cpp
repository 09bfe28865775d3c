#include "GlassHobGallery/site/Config.h"

#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

constexpr const char* names[] = {"address", "port", "data", "url", "proxy", "feed", "get"};

} // namespace

void Config::take(const std::map<std::string, std::string>& values) {
    for (const auto& [name, value] : values) {
        if (name == "address") {
            address = value;
        } else if (name == "port") {
            const auto number = parseInteger(value);
            if (!number || *number < 0 || *number > 65535)
                throw std::runtime_error("\"" + value + "\" is no port. Give a number from 1 to 65535.");
            port = std::uint16_t(*number);
        } else if (name == "data") {
            data = value;
        } else if (name == "url") {
            url = value;
            while (url.ends_with('/'))
                url.pop_back();
            if (!url.starts_with("http://") && !url.starts_with("https://"))
                throw std::runtime_error("\"" + value +
                                         "\" is no address of a site. It begins with http:// or https://.");
        } else if (name == "proxy") {
            if (value != "yes" && value != "no") throw std::runtime_error("The value of proxy is yes or no.");
            isBehindProxy = value == "yes";
        } else if (name == "feed") {
            feed = value;
        } else if (name == "get") {
            get = value;
        } else {
            throw std::runtime_error("There is no setting \"" + name + "\". README.md lists them.");
        }
    }
}

void Config::takeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("The configuration " + path + " cannot be read.");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    LineReader lines(text);
    std::map<std::string, std::string> values;
    while (const auto line = lines.next()) {
        const std::string_view said = trimmed(*line);
        if (said.empty() || said.starts_with('#')) continue;
        const std::size_t equals = said.find('=');
        if (equals == std::string_view::npos)
            throw std::runtime_error("A line of " + path + " is not \"name = value\": " + std::string(said));
        values[std::string(trimmed(said.substr(0, equals)))] = trimmed(said.substr(equals + 1));
    }
    take(values);
}

void Config::takeEnvironment() {
    for (const char* name : names) {
        std::string variable = "GLASSHOB_GALLERY_";
        for (const char* c = name; *c; ++c)
            variable += char(*c - 32);
        if (const char* value = std::getenv(variable.c_str())) take({{name, value}});
    }
}

} // namespace glasshob::gallery
