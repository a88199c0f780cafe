/// @file
/// Many points drawn on few pixels without losing a peak.
#pragma once

#include <cstddef>
#include <vector>

#include "results/export.hpp"

namespace vtio::results {

struct Point {
  double time = 0;
  double value = 0;

  friend bool operator==(const Point&, const Point&) = default;
};

/// Keeps, of all points whose time falls on one pixel, the first, the least, the greatest and the last, in their
/// order; of values that are NaN the first of each gap. A line through what is kept covers the same pixels as a line
/// through all.
class VTIO_RESULTS_EXPORT MinMaxReducer final {
 public:
  /// Pixels share the time from `from` to `to` evenly. At least one pixel.
  MinMaxReducer(double from, double to, std::size_t pixels);

  /// Takes the next point; times must not go back.
  void add(double time, double value);

  /// Ends the last pixel.
  /// @return All points that were kept; at most four and one gap for each pixel and each change between values and NaN.
  [[nodiscard]] std::vector<Point> finish();

 private:
  struct Extremes {
    bool any = false;
    Point first, least, greatest, last;
    std::size_t firstOrder = 0, leastOrder = 0, greatestOrder = 0, lastOrder = 0;
  };

  void endPixel();

  double from_;
  double pixelsPerSecond_;
  double lastPixel_;
  double pixel_ = -1;
  std::size_t order_ = 0;
  bool inGap_ = false;
  Extremes now_;
  std::vector<Point> kept_;
};

/// Points of a curve without those on the pixel of the one before, for curves whose abscissa is no time.
/// @param pixels Across and up, over the extent of all finite points.
[[nodiscard]] VTIO_RESULTS_EXPORT std::vector<Point> withoutRepeats(const std::vector<Point>& points,
                                                                    std::size_t pixels);

}  // namespace vtio::results
