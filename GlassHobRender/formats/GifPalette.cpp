#include "GlassHobRender/formats/GifPalette.h"

#include <algorithm>
#include <cmath>

#if defined(__x86_64__) && defined(__linux__)
#define GLASSHOB_WIDE __attribute__((target_clones("avx2", "default")))
#else
#define GLASSHOB_WIDE
#endif

namespace glasshob {

namespace {

constexpr std::int32_t far = 4096;      // a component that is no colour's
constexpr std::size_t samples = 30'000; // pixels looked at, spread over the picture
constexpr int refinements = 2;
constexpr double keptWhile = 1.1;  // the error of the colours as they were against that of fitted ones
constexpr double cutAgainAt = 1.5; // the error against that after the last beginning from nothing
constexpr std::size_t memorySize = 1U << 16U;

// The nearest colour as distance * 256 + index, which a vector unit finds without branches.
GLASSHOB_WIDE
std::uint32_t nearestOf(const std::int32_t* reds, const std::int32_t* greens, const std::int32_t* blues,
                        std::int32_t red, std::int32_t green, std::int32_t blue) {
    std::uint32_t best = ~0U;
    for (std::uint32_t i = 0; i < 256; ++i) {
        const std::int32_t r = reds[i] - red, g = greens[i] - green, b = blues[i] - blue;
        const auto distance = std::uint32_t(r * r + g * g + b * b);
        best = std::min(best, (std::min(distance, 0xFFFFFFU) << 8U) | i);
    }
    return best;
}

// The low bits of a number in the order of a sequence that fills an interval evenly.
std::uint32_t spread(std::uint32_t number) {
    return std::uint32_t(std::uint64_t(number) * 2654435769U);
}

} // namespace

GifPalette::GifPalette() : memory_(memorySize) {
    for (auto& component : colors_.component)
        component.fill(far);
}

std::uint32_t GifPalette::nearestKey(const Colors& colors, std::int32_t red, std::int32_t green, std::int32_t blue) {
    return nearestOf(colors.component[0].data(), colors.component[1].data(), colors.component[2].data(), red, green,
                     blue);
}

int GifPalette::nearest(int red, int green, int blue) {
    const auto packed = std::uint32_t(red << 16 | green << 8 | blue);
    Remembered& slot = memory_[(packed * 2654435769U) >> 16U];
    if (slot.color != packed) slot = {packed, nearestKey(colors_, red, green, blue) & 255U};
    return int(slot.index);
}

RgbColor GifPalette::color(int index) const {
    const auto i = std::size_t(index);
    const auto byte = [](std::int32_t value) { return std::uint8_t(value == far ? 0 : value); };
    return {byte(colors_.component[0][i]), byte(colors_.component[1][i]), byte(colors_.component[2][i])};
}

// Pixels of the picture, other ones each time, the same colour once with its weight.
void GifPalette::sample(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height) {
    const auto pixels = std::size_t(width) * std::size_t(height);
    const std::size_t step = std::max<std::size_t>(pixels / samples, 1);
    seen_.clear();
    ++turn_;
    for (std::size_t i = 0; i < pixels; i += step) {
        const std::size_t at = std::min(i + spread(turn_ * 7919U + std::uint32_t(i)) % step, pixels - 1);
        const std::uint8_t* p = bgra + at / std::size_t(width) * rowBytes + at % std::size_t(width) * 4;
        seen_.push_back(std::uint32_t(p[2]) << 16U | std::uint32_t(p[1]) << 8U | p[0]);
    }
    std::ranges::sort(seen_);
    points_.clear();
    for (std::size_t i = 0; i < seen_.size();) {
        std::size_t end = i;
        while (end < seen_.size() && seen_[end] == seen_[i])
            ++end;
        points_.push_back(
            {{std::int32_t(seen_[i] >> 16U), std::int32_t(seen_[i] >> 8U & 255U), std::int32_t(seen_[i] & 255U)},
             float(end - i)});
        i = end;
    }
}

double GifPalette::error(const Colors& colors) const {
    double sum = 0;
    for (const Point& point : points_)
        sum += double(nearestKey(colors, point.color[0], point.color[1], point.color[2]) >> 8U) * double(point.weight);
    return sum;
}

// Colours from nothing: the group of points that is worst off is split in two, at the mean of its widest component,
// until there are enough groups.
GifPalette::Colors GifPalette::cut() const {
    struct Group {
        std::size_t begin, end;
        double mean[3];
        int axis;
        double error;
    };
    std::vector<Point> points = points_;
    const auto describe = [&](std::size_t begin, std::size_t end) {
        Group group{begin, end, {}, 0, 0};
        double weight = 0, square[3] = {};
        for (std::size_t i = begin; i < end; ++i) {
            weight += double(points[i].weight);
            for (int c = 0; c < 3; ++c) {
                group.mean[c] += double(points[i].weight) * points[i].color[c];
                square[c] += double(points[i].weight) * points[i].color[c] * points[i].color[c];
            }
        }
        double widest = -1;
        for (int c = 0; c < 3; ++c) {
            group.mean[c] /= weight;
            const double spreadOf = square[c] - weight * group.mean[c] * group.mean[c];
            group.error += spreadOf;
            if (spreadOf > widest) {
                widest = spreadOf;
                group.axis = c;
            }
        }
        if (end - begin < 2) group.error = 0;
        return group;
    };
    std::vector<Group> groups = {describe(0, points.size())};
    while (groups.size() < std::size_t(size)) {
        Group& worst = *std::ranges::max_element(groups, {}, &Group::error);
        if (worst.error <= 1e-3) break;
        const Group whole = worst;
        const auto middle =
            std::partition(points.begin() + std::ptrdiff_t(whole.begin), points.begin() + std::ptrdiff_t(whole.end),
                           [&](const Point& point) { return point.color[whole.axis] <= whole.mean[whole.axis]; });
        const auto at = std::size_t(middle - points.begin());
        worst = describe(whole.begin, at);
        groups.push_back(describe(at, whole.end));
    }
    Colors colors;
    for (std::size_t c = 0; c < 3; ++c) {
        colors.component[c].fill(far);
        for (std::size_t i = 0; i < groups.size(); ++i)
            colors.component[c][i] = std::int32_t(std::lround(groups[i].mean[c]));
    }
    return colors;
}

// Every colour moves to the middle of the points that are nearest to it; one that no point needs goes where points
// are farthest from theirs.
GifPalette::Colors GifPalette::refined(const Colors& colors) const {
    double sums[256][4] = {};
    struct Farthest {
        double error = 0;
        const Point* point = nullptr;
    };
    std::array<Farthest, 256> farthest;
    for (const Point& point : points_) {
        const std::uint32_t key = nearestKey(colors, point.color[0], point.color[1], point.color[2]);
        const std::uint32_t index = key & 255U;
        const double lost = double(key >> 8U) * double(point.weight);
        for (int c = 0; c < 3; ++c)
            sums[index][c] += double(point.weight) * point.color[c];
        sums[index][3] += double(point.weight);
        if (lost > farthest[index].error) farthest[index] = {lost, &point};
    }
    Colors made = colors;
    for (std::size_t i = 0; i < std::size_t(size); ++i) {
        if (sums[i][3] > 0) {
            for (std::size_t c = 0; c < 3; ++c)
                made.component[c][i] = std::int32_t(std::lround(sums[i][c] / sums[i][3]));
            continue;
        }
        Farthest& needy = *std::ranges::max_element(farthest, {}, &Farthest::error);
        if (needy.point == nullptr) continue;
        for (std::size_t c = 0; c < 3; ++c)
            made.component[c][i] = needy.point->color[c];
        needy = {};
    }
    return made;
}

void GifPalette::follow(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height) {
    sample(bgra, rowBytes, width, height);
    Colors fitted = isEmpty_ ? cut() : colors_;
    for (int i = 0; i < refinements; ++i)
        fitted = refined(fitted);
    double least = error(fitted);
    if (!isEmpty_) {
        if (least > cutAgainAt * errorWhenCut_) {
            const Colors fresh = refined(cut());
            const double errorOfFresh = error(fresh);
            errorWhenCut_ = std::max(errorOfFresh, 1.0);
            if (errorOfFresh < least) {
                fitted = fresh;
                least = errorOfFresh;
            }
        }
        if (error(colors_) <= keptWhile * least) return;
    } else {
        errorWhenCut_ = std::max(least, 1.0);
    }
    isEmpty_ = false;
    colors_ = fitted;
    std::ranges::fill(memory_, Remembered{});
}

} // namespace glasshob
