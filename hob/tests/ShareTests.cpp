#include "HobProcess.h"

// What is wrong is said before a driver, the keyring or the network is asked.
TEST_F(HobTest, ShareRefusesWhatTheGalleryWouldNotTake) {
    put("a.metal", plainShader("1"));
    const QStringList share = {"share", "a.metal"};
    const std::pair<QStringList, QByteArray> refused[] = {
        {{}, "hob: The gallery needs a title: hob share FILE --title TEXT.\n"},
        {{"--title", " "}, "hob: The title must be 1 to 80 characters.\n"},
        {{"--title", QString(81, 'x')}, "hob: The title must be 1 to 80 characters.\n"},
        {{"--title", "a", "--description", QString(501, 'x')},
         "hob: The description must be at most 500 characters.\n"},
        {{"--title", "a", "--licence", "gpl"},
         "hob: The option --licence takes cc-by-nc-sa-4.0, cc-by-4.0, mit or arr, not gpl.\n"},
        {{"--title", "a", "--visibility", "Public"},
         "hob: The option --visibility takes public, unlisted or private, not Public.\n"},
    };
    for (const auto& [words, sentence] : refused) {
        const Outcome outcome = hob(share + words, withoutDriver());
        EXPECT_EQ(outcome.status, 2) << outcome.shown();
        EXPECT_EQ(outcome.error, sentence);
        EXPECT_EQ(outcome.output, "");
    }
    const Outcome badSite = hob(share + QStringList{"--title", "a", "--site", "ftp://x"}, withoutDriver());
    EXPECT_EQ(badSite.status, 2) << badSite.shown();
    EXPECT_TRUE(isOneSentence(badSite.error)) << badSite.shown();
    put("broken.metal", "float4 shade(");
    const Outcome broken = hob({"share", "broken.metal", "--title", "a"}, withoutDriver());
    EXPECT_EQ(broken.status, 1) << broken.shown();
    EXPECT_TRUE(broken.error.endsWith("hob: broken.metal did not compile.\n")) << broken.shown();
}
