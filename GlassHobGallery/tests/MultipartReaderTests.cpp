#include "GlassHobGallery/http/MultipartReader.h"

#include "GlassHobCore/site/Multipart.h"

#include <gtest/gtest.h>

#include <vector>

namespace glasshob::gallery {
namespace {

struct Heard : MultipartReader::Receiver {
    std::vector<std::pair<std::string, std::string>> parts;
    int ended = 0;
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

// A body as the program sends it, with data that looks like boundaries and is none.
std::string body() {
    Multipart made{"GlassHob-B", {}};
    made.add("meta", "", "application/json", "{\"a\": 1}");
    made.add("source", "source.metal", "text/plain", "\r\n--GlassHob-\r\n--GlassHob-C\r\n");
    made.add("loop", "loop.mp4", "video/mp4", "");
    return made.body().toStdString();
}

TEST(MultipartReader, ReadsWhatTheProgramSendsInPiecesOfAnySize) {
    const std::string text = body();
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        Heard heard;
        MultipartReader reader("GlassHob-B", heard);
        for (std::size_t at = 0; at < text.size(); at += piece)
            reader.take(std::string_view(text).substr(at, piece));
        ASSERT_TRUE(reader.isWhole()) << piece;
        ASSERT_EQ(heard.ended, 3);
        ASSERT_EQ(heard.parts,
                  (std::vector<std::pair<std::string, std::string>>{
                      {"meta", "{\"a\": 1}"}, {"source", "\r\n--GlassHob-\r\n--GlassHob-C\r\n"}, {"loop", ""}}));
    }
}

TEST(MultipartReader, ABodyThatEndsAtAnyByteIsNotWhole) {
    const std::string text = body();
    // The last two bytes are a line break behind the end.
    for (std::size_t length = 0; length + 2 < text.size(); ++length) {
        Heard heard;
        MultipartReader reader("GlassHob-B", heard);
        reader.take(std::string_view(text).substr(0, length));
        EXPECT_FALSE(reader.isWhole()) << length;
    }
}

TEST(MultipartReader, WhatIsNoFormIsBroken) {
    const std::string head = "Content-Disposition: form-data; name=\"a\"\r\n\r\n";
    const struct {
        const char* name;
        std::string text;
    } cases[] = {
        {"another boundary", "--C\r\n" + head + "x\r\n--C--"},
        {"text in front", "x--B\r\n" + head + "x\r\n--B--"},
        {"no disposition", "--B\r\nContent-Type: text/plain\r\n\r\nx\r\n--B--"},
        {"no name", "--B\r\nContent-Disposition: form-data\r\n\r\nx\r\n--B--"},
        {"a name without an end", "--B\r\nContent-Disposition: form-data; name=\"a\r\n\r\nx\r\n--B--"},
        {"two dispositions", "--B\r\n" + head.substr(0, head.size() - 2) + head + "x\r\n--B--"},
        {"headers without an end", "--B\r\n" + std::string(5000, 'x')},
        {"rubbish behind a boundary", "--B\r\n" + head + "x\r\n--Bxx" + head},
        {"very many parts",
         [&] {
             std::string many;
             for (int i = 0; i < 20; ++i)
                 many += "--B\r\n" + head + "x\r\n";
             return many + "--B--";
         }()},
    };
    for (const auto& one : cases) {
        Heard heard;
        MultipartReader reader("B", heard);
        reader.take(one.text);
        EXPECT_TRUE(reader.isBroken()) << one.name;
    }
}

TEST(MultipartReader, TakesTheBoundaryFromTheContentType) {
    using Reader = MultipartReader;
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data; boundary=GlassHob-1"), "GlassHob-1");
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data; Boundary=\"a b\""), std::nullopt);
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data; boundary=\"ab\"; x=y"), "ab");
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data; boundary="), std::nullopt);
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data"), std::nullopt);
    EXPECT_EQ(Reader::boundaryOf("multipart/form-data; boundary=" + std::string(71, 'x')), std::nullopt);
}

} // namespace
} // namespace glasshob::gallery
