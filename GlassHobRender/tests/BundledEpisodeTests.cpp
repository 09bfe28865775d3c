#include "GlassHobCore/code/DirectiveNotes.h"
#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"
#include "GlassHobRender/program/ShaderCompiler.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

void expectGoodShader(const EpisodeFile& file) {
    SCOPED_TRACE(file.path);
    for (const Diagnostic& note : directiveNotes(file.text))
        ADD_FAILURE() << "line " << note.line << ": " << note.message;
    const auto compiled = ShaderCompiler::compile(file.text);
    EXPECT_TRUE(compiled) << compiled.error().raw;
}

} // namespace

// What a teacher imitates: every stage runs, every page fits, every page says something.
TEST(BundledEpisodes, AreGoodExamples) {
    const auto folders = EpisodeFolder::list(GLASSHOB_SOURCE_DIR "/GlassHob/Episodes");
    ASSERT_EQ(folders.size(), 2U);
    for (const std::string& folder : folders) {
        SCOPED_TRACE(folder);
        const auto episode = EpisodeFolder::read(folder);
        ASSERT_TRUE(episode) << episode.error().sentence;
        expectGoodShader(episode->source);
        for (const EpisodeFile& stage : episode->stages)
            expectGoodShader(stage);
        const auto stages = episode->walkthrough(episodeLook::pageLines);
        ASSERT_TRUE(stages) << stages.error().sentence;
        ASSERT_EQ(stages->size(), episode->stages.size() + 1);
        const WalkthroughPainter painter({1920, 1080}, *stages);
        for (std::size_t stage = 0; stage < stages->size(); ++stage) {
            EXPECT_FALSE((*stages)[stage].summary.empty());
            for (std::size_t page = 0; page < (*stages)[stage].pages.size(); ++page) {
                EXPECT_FALSE((*stages)[stage].pages[page].caption.empty());
                const PageFit fit = painter.fit(stage, page);
                EXPECT_EQ(fit.cutLines, 0) << "stage " << stage + 1;
                EXPECT_FALSE(fit.isCaptionCut) << "stage " << stage + 1;
            }
        }
    }
}
