#include "GlassHobRender/episode/OverlayReel.h"
#include "GlassHobRender/episode/OverlaySequence.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace glasshob;

namespace {

std::shared_ptr<const WalkthroughPainter> painterOf(int pages) {
    WalkthroughStage stage;
    stage.title = "Soft edges";
    for (int i = 0; i < pages; ++i)
        stage.pages.push_back({{{"line" + std::to_string(i) + ";", WalkthroughLine::Kind::added}}, "Page."});
    return std::make_shared<WalkthroughPainter>(EpisodeFrame{320, 180}, std::vector{stage});
}

// The frames, at 60 a second, at which another image is seen.
std::vector<std::pair<int, std::int64_t>> changes(const OverlaySequence& sequence, double seconds) {
    std::vector<std::pair<int, std::int64_t>> made;
    std::int64_t last = -1;
    for (int frame = 0; frame < int(seconds * 60); ++frame) {
        const std::int64_t index = sequence.indexAt(frame / 60.0);
        EXPECT_TRUE(index == last || index == last + 1) << frame;
        if (index != last) made.emplace_back(frame, index);
        last = index;
    }
    EXPECT_EQ(last, sequence.count() - 1);
    return made;
}

std::vector<int> frames(const OverlaySequence& sequence, double seconds) {
    std::vector<int> made;
    for (const auto& [frame, index] : changes(sequence, seconds))
        made.push_back(frame);
    return made;
}

// Images that are counted as long as they live.
class CountedImages {
  public:
    OverlaySequence sequence(int count) {
        OverlaySequence made;
        for (int i = 0; i < count; ++i) {
            made.add(i, [this, i] {
                ++painted_;
                most_ = std::max(most_.load(), ++alive_);
                auto* bytes = new uchar[4]{uchar(i), 0, 0, 255};
                return QImage(bytes, 1, 1, 4, QImage::Format_ARGB32_Premultiplied, forget, new Owned{bytes, this});
            });
        }
        return made;
    }
    int most() const { return most_; }
    int alive() const { return alive_; }
    int painted() const { return painted_; }

  private:
    struct Owned {
        uchar* bytes;
        CountedImages* owner;
    };
    static void forget(void* info) {
        const std::unique_ptr<Owned> owned(static_cast<Owned*>(info));
        --owned->owner->alive_;
        delete[] owned->bytes;
    }
    std::atomic<int> alive_ = 0, most_ = 0, painted_ = 0;
};

} // namespace

TEST(OverlaySequence, FadesAStagesTitleAndPages) {
    // Three steps in, the title moment for 2.5 s, and two pages of 10 s each with a change of five steps before each.
    EXPECT_EQ(frames(episodeOverlays::stage(painterOf(2), 0, 10), 20),
              (std::vector<int>{0, 2, 4, 6, 146, 148, 150, 152, 154, 156, 596, 598, 600, 602, 604, 606}));
    // Too short for a title moment.
    EXPECT_EQ(frames(episodeOverlays::stage(painterOf(2), 0, 5), 10),
              (std::vector<int>{0, 2, 4, 6, 296, 298, 300, 302, 304, 306}));
    EXPECT_EQ(frames(episodeOverlays::stage(painterOf(1), 0, 6), 6),
              (std::vector<int>{0, 2, 4, 6, 86, 88, 90, 92, 94, 96}));
}

TEST(OverlaySequence, FollowsTheTimelineOfItsPages) {
    const auto painter = painterOf(3);
    const OverlaySequence sequence = episodeOverlays::stage(painter, 0, 7);
    const WalkthroughTimeline timeline = {7, {3}};
    for (const double time : {3.0, 6.5, 7.5, 13.5, 14.5, 20.9, 100.0}) {
        const auto page = std::size_t(timeline.pageIndex(0, time));
        EXPECT_EQ(sequence.paint(sequence.indexAt(time)), painter->page(0, page)) << time;
    }
    EXPECT_EQ(sequence.paint(sequence.indexAt(1)), painter->titleMoment(0));
    EXPECT_EQ(sequence.paint(0), painter->titleMoment(0, 0.25));
    EXPECT_EQ(sequence.indexAt(-5), 0);
}

TEST(OverlaySequence, FadesLabelsAndCards) {
    const EpisodeFrame frame{320, 180};
    const VariationLabel label{1, 2, {}};
    const OverlaySequence sequence = episodeOverlays::label(frame, label, 20);
    EXPECT_EQ(frames(sequence, 20), (std::vector<int>{0, 30, 32, 34, 36, 390, 392, 394}));
    EXPECT_TRUE(sequence.isEmpty(0) && sequence.isEmpty(sequence.count() - 1) && !sequence.isEmpty(1));
    EXPECT_TRUE(sequence.paint(0).isNull());
    EXPECT_EQ(frames(episodeOverlays::label(frame, label, 4), 4), (std::vector<int>{0, 30, 32, 34, 36, 180, 182, 184}));
    EXPECT_EQ(frames(episodeOverlays::label(frame, label, 2.9), 2.9), (std::vector<int>{0}));
    const OverlaySequence card = episodeOverlays::card(frame, {}, Card::opening);
    EXPECT_EQ(frames(card, 4), (std::vector<int>{0, 18, 20, 22, 24}));
    EXPECT_EQ(card.paint(0), paintCard(frame, {}, Card::opening, 0));
    EXPECT_EQ(card.paint(4), paintCard(frame, {}, Card::opening));
}

TEST(OverlayReel, HoldsFewImagesAndPaintsEachOnce) {
    CountedImages images;
    {
        OverlayReel reel(images.sequence(200));
        for (std::int64_t index = 0; index < 200; ++index) {
            for (int again = 0; again < 3; ++again)
                ASSERT_EQ(reel.at(index).constBits()[0], uchar(index));
        }
        EXPECT_EQ(images.painted(), 200);
    }
    // What is seen, what is ahead, and one that the thread beside is about to put there.
    EXPECT_LE(images.most(), OverlayReel::mostAhead + 2);
    EXPECT_EQ(images.alive(), 0);
}

TEST(OverlayReel, GivesAnyImageInAnyOrder) {
    CountedImages images;
    OverlayReel reel(images.sequence(50));
    for (const std::int64_t index : {30, 3, 4, 49, 0, 7, 7, 48})
        EXPECT_EQ(reel.at(index).constBits()[0], uchar(index));
}

TEST(OverlayReel, PaintsWhatComesNextBeforeItIsAskedFor) {
    CountedImages images;
    OverlayReel reel(images.sequence(50));
    reel.at(0);
    while (images.painted() < 1 + int(OverlayReel::mostAhead))
        std::this_thread::yield();
    for (std::int64_t index = 1; index <= OverlayReel::mostAhead; ++index)
        reel.at(index);
    // None of them was painted again.
    EXPECT_LE(images.painted(), 1 + 2 * int(OverlayReel::mostAhead));
}
