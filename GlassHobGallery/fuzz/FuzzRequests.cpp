// What strangers send, as it is taken apart: uploads, forms, cookies, encoded texts. The first byte is the size of the
// pieces in which an upload comes.
#include "GlassHobCore/fuzz/Finding.h"
#include "GlassHobGallery/http/Http.h"
#include "GlassHobGallery/http/MultipartReader.h"

#include <cstdint>

using namespace glasshob::gallery;
using glasshob::fuzz::expect;

namespace {

struct Heard : MultipartReader::Receiver {
    std::vector<std::pair<std::string, std::string>> parts;
    std::size_t ended = 0;
    bool beginPart(std::string_view name) override {
        parts.emplace_back(name, "");
        return true;
    }
    bool data(std::string_view bytes) override {
        parts.back().second += bytes;
        return true;
    }
    bool endPart() override {
        ++ended;
        return true;
    }
};

void checkUpload(std::string_view body, std::size_t piece) {
    Heard whole, pieces;
    MultipartReader first("B", whole), second("B", pieces);
    first.take(body);
    for (std::size_t at = 0; at < body.size(); at += piece)
        second.take(body.substr(at, piece));
    expect(first.isWhole() == second.isWhole() && first.isBroken() == second.isBroken(),
           "pieces of another size are another upload");
    if (!first.isWhole()) return;
    expect(whole.parts == pieces.parts, "pieces of another size have another content");
    expect(whole.ended == whole.parts.size(), "a part without an end");
    std::size_t size = 0;
    for (const auto& [name, data] : whole.parts)
        size += name.size() + data.size();
    expect(size <= body.size(), "more than was sent");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    checkUpload(text, 1 + data[0] % 80);
    if (const auto boundary = MultipartReader::boundaryOf(text))
        expect(!boundary->empty() && boundary->size() <= 70 && boundary->find_first_of("\r\n\"; ") == std::string::npos,
               "a boundary that could end a header");
    expect(urlDecoded(urlEncoded(text)) == text, "an encoded text is another one");

    Request request;
    request.headers["Content-Type"] = "application/x-www-form-urlencoded";
    request.headers["Cookie"] = text;
    request.body = text;
    if (const auto form = request.form()) expect(form->size() <= 64, "a form without end");
    for (const char* name : {"session", "__Host-session", "a"})
        expect(request.cookie(name).find(';') == std::string_view::npos, "a cookie that is two");
    return 0;
}
