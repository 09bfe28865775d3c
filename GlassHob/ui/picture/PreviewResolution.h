// At how much of its size the live picture is drawn, and the choice that is made anew while it runs: the largest that
// keeps thirty frames a second. Stills, copies and videos have sizes of their own. Plain values.
#pragma once

#include <QString>

#include <array>

namespace glasshob {

enum class PreviewResolution { full, half, quarter, automatic };
inline constexpr std::array previewResolutions = {PreviewResolution::full, PreviewResolution::half,
                                                  PreviewResolution::quarter, PreviewResolution::automatic};

// "Half"; and as settings keep it, "half", where anything unknown is full.
QString titleOf(PreviewResolution resolution);
QString rawValue(PreviewResolution resolution);
PreviewResolution previewResolution(const QString& rawValue);

// Chooses by the frame times that are reported to it. A side is drawn at a whole, a half or a quarter of its
// length.
class AutomaticResolution {
  public:
    int divisor() const { return divisor_; }
    // A frame drawn at the present size took so long.
    void add(double seconds);
    // Frames of another program or of another size come from now on; the first one of those says little.
    void forget();

  private:
    void setDivisor(int divisor);

    int divisor_ = 1;
    int skipped_ = 0;
    int frames_ = 0;
    double seconds_ = 0; // of those frames
};

} // namespace glasshob
