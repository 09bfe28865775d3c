#include "GlassHobCore/site/ShareUpload.h"

#include "GlassHobCore/site/UploadProgress.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using namespace glasshob;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const QByteArray movie("\0\0\0\x18"
                       "ftypmp42",
                       12);
const QByteArray jpeg("\xFF\xD8\xFF\xE0");

ShareUpload good() {
    ShareUpload upload;
    upload.title = "Rings";
    upload.source = "float3 shade() {}\n";
    upload.loop = movie;
    upload.thumb = jpeg;
    return upload;
}

QByteArray filled(const QByteArray& head, std::size_t size) {
    return head + QByteArray(qsizetype(size) - head.size(), 'x');
}

std::string repeated(std::size_t count, const std::string& text) {
    std::string made;
    for (std::size_t i = 0; i < count; ++i)
        made += text;
    return made;
}

const char* const badTitle = "The title must be 1 to 80 characters.";
const char* const badDescription = "The description must be at most 500 characters.";
const char* const largeSource = "The source is over 200 KB.";
const char* const largeLoop = "The loop video is over 20 MB.";
const char* const largeThumb = "The thumbnail is over 1 MB.";
const char* const notMovie = "The loop is not an MP4 file.";
const char* const notJpeg = "The thumbnail is not a JPEG.";
const char* const largeUpload = "The upload is over 25 MB.";

} // namespace

TEST(ShareUpload, CountsCharactersAsAPersonDoes) {
    // One letter of a byte, one of two, two of which one is an accent, a family of four with what joins them, a flag.
    const std::string letters[] = {"x", "\xC3\xA9", "e\xCC\x81",
                                   "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7",
                                   "\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA"};
    for (const std::string& letter : letters) {
        ShareUpload upload = good();
        upload.title = " \n\xC2\xA0" + repeated(80, letter) + "\t ";
        upload.description = repeated(500, letter);
        EXPECT_THAT(upload.problems(), IsEmpty()) << letter;
        upload.title += letter;
        EXPECT_THAT(upload.problems(), ElementsAre(badTitle)) << letter;
        upload.title = letter;
        upload.description += letter;
        EXPECT_THAT(upload.problems(), ElementsAre(badDescription)) << letter;
    }
    for (const std::string& title : {""s, " "s, " \t\r\n\xC2\xA0\xE2\x80\xA8"s}) {
        ShareUpload upload = good();
        upload.title = title;
        EXPECT_THAT(upload.problems(), ElementsAre(badTitle));
    }
}

TEST(ShareUpload, HoldsTheLimitsOfSizes) {
    ShareUpload upload = good();
    upload.source = std::string(200'000, ' ');
    upload.loop = filled(movie, 20'000'000);
    upload.thumb = filled(jpeg, 1'000'000);
    EXPECT_THAT(upload.problems(), IsEmpty());
    upload.source += ' ';
    EXPECT_THAT(upload.problems(), ElementsAre(largeSource));
    upload.loop += ' ';
    upload.thumb += ' ';
    EXPECT_THAT(upload.problems(), ElementsAre(largeSource, largeLoop, largeThumb));

    upload = good();
    upload.thumb = filled(jpeg, 25'000'000 - upload.source.size() - std::size_t(upload.loop.size()));
    EXPECT_THAT(upload.problems(), ElementsAre(largeThumb));
    upload.source += ' ';
    EXPECT_THAT(upload.problems(), ElementsAre(largeThumb, largeUpload));
    EXPECT_THAT(ShareUpload().problems(), ElementsAre(badTitle, notMovie, notJpeg));
}

TEST(ShareUpload, KnowsFilmsAndPicturesByTheirFirstBytes) {
    ShareUpload upload = good();
    upload.loop = movie.first(8);
    upload.thumb = jpeg.first(3);
    EXPECT_THAT(upload.problems(), IsEmpty());
    for (const QByteArray& loop :
         {movie.first(7), QByteArray("ftypmp42"), movie.sliced(1), QByteArray("....FTYPmp42")}) {
        upload.loop = loop;
        EXPECT_THAT(upload.problems(), ElementsAre(notMovie));
    }
    upload.loop = movie;
    for (const QByteArray& thumb : {jpeg.first(2), QByteArray("\x89PNG\r\n"), jpeg.sliced(1)}) {
        upload.thumb = thumb;
        EXPECT_THAT(upload.problems(), ElementsAre(notJpeg));
    }
}

TEST(ShareUpload, TellsOfTheShader) {
    ShareUpload upload = good();
    upload.title = "\n Caf\xC3\xA9 \"1\" ";
    upload.description = " a\r\nb ";
    upload.params = {{"speed", 0.1f, -1e-7f, 16777216.0f, "how \"fast\""},
                     {"amount", 3.0f, 1.1754944e-38f, 3.4028235e+38f, ""}};
    EXPECT_EQ(upload.meta().toStdString(),
              R"({"description":" a\r\nb ","kind":"fragment","licence":"cc-by-nc-sa-4.0","params":[)"
              R"({"default":0.1,"detail":"how \"fast\"","max":16777216,"min":-1e-07,"name":"speed"},)"
              R"({"default":3,"detail":"","max":3.4028235e+38,"min":1.1754944e-38,"name":"amount"}],)"
              "\"title\":\"Caf\xC3\xA9 \\\"1\\\"\",\"visibility\":\"public\"}");

    const auto told = [&] { return QJsonDocument::fromJson(upload.meta()).object(); };
    upload.source = "// @particles 100\n// @forked-from s/ab12\n";
    EXPECT_EQ(told()["kind"], "particles");
    EXPECT_EQ(told()["forkedFrom"], "s/ab12");
    upload.source = "// @grid 8\n// @forked-from http://evil.example\n";
    EXPECT_EQ(told()["kind"], "grid");
    EXPECT_FALSE(told().contains("forkedFrom"));

    // What a person may write as numbers, and JSON has not.
    upload.params = {
        {"none", std::numeric_limits<float>::quiet_NaN(), 0.0f, std::numeric_limits<float>::infinity(), ""}};
    const QJsonObject param = told()["params"][0].toObject();
    EXPECT_TRUE(param["default"].isNull() && param["max"].isNull());
    EXPECT_EQ(param["min"], 0);
}

TEST(ShareUpload, SendsTheNamesOfTheGallery) {
    const std::pair<const char*, const char*> licences[] = {{"cc-by-nc-sa-4.0", "CC BY-NC-SA 4.0"},
                                                            {"cc-by-4.0", "CC BY 4.0"},
                                                            {"mit", "MIT"},
                                                            {"arr", "All rights reserved"}};
    ASSERT_EQ(std::size(licences), std::size(ShareUpload::licences));
    for (std::size_t i = 0; i < std::size(licences); ++i) {
        EXPECT_EQ(rawValue(ShareUpload::licences[i]), licences[i].first);
        EXPECT_EQ(title(ShareUpload::licences[i]), licences[i].second);
    }
    std::vector<std::string> visibilities;
    for (const auto visibility : ShareUpload::visibilities)
        visibilities.emplace_back(rawValue(visibility));
    EXPECT_THAT(visibilities, ElementsAre("public", "unlisted", "private"));
}

TEST(Multipart, LaysTheBodyOutByteForByte) {
    Multipart one{"B", {}};
    EXPECT_EQ(one.body(), "--B--\r\n");
    one.add("meta", "", "application/json", "{}");
    EXPECT_EQ(one.body(),
              "--B\r\nContent-Disposition: form-data; name=\"meta\"\r\nContent-Type: application/json\r\n\r\n"
              "{}\r\n--B--\r\n");
    EXPECT_EQ(one.contentType(), "multipart/form-data; boundary=B");

    ShareUpload upload = good();
    upload.source = "caf\xC3\xA9\r\n\0\n"s;
    const QByteArray body = upload.multipart("B-1").body();
    const QByteArray head = "Content-Disposition: form-data; name=";
    EXPECT_EQ(body, "--B-1\r\n" + head + "\"meta\"\r\nContent-Type: application/json\r\n\r\n" + upload.meta() +
                        "\r\n--B-1\r\n" + head +
                        "\"source\"; filename=\"source.metal\"\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n" +
                        QByteArray::fromStdString(upload.source) + "\r\n--B-1\r\n" + head +
                        "\"loop\"; filename=\"loop.mp4\"\r\nContent-Type: video/mp4\r\n\r\n" + movie + "\r\n--B-1\r\n" +
                        head + "\"thumb\"; filename=\"thumb.jpg\"\r\nContent-Type: image/jpeg\r\n\r\n" + jpeg +
                        "\r\n--B-1--\r\n");
}

TEST(Multipart, HasAnotherBoundaryEachTime) {
    const std::string boundary = Multipart::freshBoundary();
    EXPECT_THAT(boundary, testing::MatchesRegex("GlassHob-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
    EXPECT_NE(boundary, Multipart::freshBoundary());
}

TEST(UploadProgress, TellsTheShareThatWasSent) {
    std::vector<double> told;
    const UploadProgress progress{[&](double share) { told.push_back(share); }};
    for (const auto& [sent, expected] : {std::pair(0, 0), {5, -1}, {0, 4}, {1, 4}, {4, 4}, {5, 4}, {-1, 4}})
        progress.sent(sent, expected);
    EXPECT_THAT(told, ElementsAre(0, 0.25, 1, 1, 0));
    UploadProgress{}.sent(1, 2);
}
