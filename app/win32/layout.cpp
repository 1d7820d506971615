#include "app/win32/layout.h"

#include <algorithm>
#include <span>
#include <utility>

#include "app/win32/controls.h"

namespace app {
namespace {

// In pixels of a 96 DPI screen.
constexpr int kMargin = 12;
constexpr int kGap = 8;
constexpr int kFrameInset = 12;
constexpr int kButtonPadding = 14;
constexpr int kLeastButton = 92;
constexpr int kButtonExtraHeight = 12;
constexpr int kLineGap = 4;
constexpr int kLeastListColumn = 260;

class Composer {
 public:
  Composer(const Measures& measures, SIZE client) : measures_(measures) { layout_.client = client; }

  Layout Compose() {
    const int frames_width = std::max(FrameWidth(0), FrameWidth(1));
    const int frame_height = FrameHeight();
    const int bottom = RowWidth(kBottomRow) + 2 * Scaled(kGap) + TextWidth(kDate);
    SIZE& client = layout_.client;
    const int list_column =
        std::max(Scaled(kLeastListColumn), ButtonWidth(IdOf(Button::kCommand1)));
    client.cx =
        std::max<LONG>(client.cx, 2 * Scaled(kMargin) +
                                      std::max(frames_width + Scaled(kGap) + list_column, bottom));
    const int below = Scaled(kGap) + ButtonHeight() + Scaled(kMargin);
    const int least_height = Scaled(kMargin) + 2 * frame_height + Scaled(kGap) + below;
    client.cy = std::max<LONG>(client.cy, least_height);

    // What is left over in height goes to both frames and to the list.
    const int left = Scaled(kMargin), right = client.cx - Scaled(kMargin);
    const int top = Scaled(kMargin), end = client.cy - below;
    const int each = (end - top - Scaled(kGap)) / 2;
    PlaceFrame(0, {left, top, left + frames_width, top + each});
    PlaceFrame(1, {left, end - each, left + frames_width, end});

    const int column = left + frames_width + Scaled(kGap);
    const int repair_top = end - ButtonHeight();
    Place(kList, {column, top + measures_.text_height / 2, right, repair_top - Scaled(kGap)});
    PlaceRow(kRepairRow, column, repair_top);

    const int bottom_top = client.cy - Scaled(kMargin) - ButtonHeight();
    PlaceRow(kBottomRow, left, bottom_top);
    Place(kDate, {right - TextWidth(kDate), bottom_top, right, bottom_top + ButtonHeight()});
    return std::move(layout_);
  }

 private:
  using Row = std::span<const Button>;
  static constexpr Button kFrameRows[][2] = {{Button::kCB_DataDB, Button::kCB_DB_Up},
                                             {Button::kCB_TenkaiDB, Button::kCB_TenkaiDB_Up}};
  static constexpr Button kRepairRow[] = {Button::kCommand1};
  static constexpr Button kBottomRow[] = {Button::kCommand4, Button::kCommand5, Button::kCommand2,
                                          Button::kCommand3};

  int Scaled(int pixels) const { return ::MulDiv(pixels, measures_.dpi, 96); }
  int TextWidth(int id) const { return measures_.widths.at(id); }
  int ButtonWidth(int id) const {
    return std::max(Scaled(kLeastButton), TextWidth(id) + 2 * Scaled(kButtonPadding));
  }
  int ButtonHeight() const { return measures_.text_height + Scaled(kButtonExtraHeight); }
  int LineHeight() const { return std::max(measures_.text_height, measures_.version_height); }
  int RowWidth(Row row) const {
    int width = -Scaled(kGap);
    for (const Button each : row) width += Scaled(kGap) + ButtonWidth(IdOf(each));
    return width;
  }

  // The latest version stands under the stored one, right edge under right edge.
  int VersionsWidth(int frame) const {
    const int stored =
        TextWidth(kFirstLabel + frame) + 2 * Scaled(kGap) + TextWidth(kFirstVersion + frame);
    return std::max(stored, TextWidth(kFirstVersion + kFrames + frame));
  }
  int FrameWidth(int frame) const {
    return 2 * Scaled(kFrameInset) + std::max(RowWidth(kFrameRows[frame]), VersionsWidth(frame));
  }
  int FrameHeight() const {
    return measures_.text_height + Scaled(kLineGap) + ButtonHeight() + Scaled(kGap) +
           2 * LineHeight() + Scaled(kLineGap) + Scaled(kFrameInset);
  }

  void PlaceFrame(int frame, RECT place) {
    Place(kFirstFrame + frame, place);
    const int left = place.left + Scaled(kFrameInset);
    int top = place.top + measures_.text_height + Scaled(kLineGap);
    PlaceRow(kFrameRows[frame], left, top);
    top += ButtonHeight() + Scaled(kGap);
    const int right = left + VersionsWidth(frame);
    const int label_end = left + TextWidth(kFirstLabel + frame);
    Place(kFirstLabel + frame, {left, top, label_end, top + LineHeight()});
    Place(kFirstVersion + frame, {label_end, top, right, top + LineHeight()});
    top += LineHeight() + Scaled(kLineGap);
    Place(kFirstVersion + kFrames + frame, {left, top, right, top + LineHeight()});
  }

  void PlaceRow(Row row, int left, int top) {
    for (const Button each : row) {
      const int right = left + ButtonWidth(IdOf(each));
      Place(IdOf(each), {left, top, right, top + ButtonHeight()});
      left = right + Scaled(kGap);
    }
  }

  void Place(int id, RECT place) { layout_.places[id] = place; }

  const Measures& measures_;
  Layout layout_{};
};

}  // namespace

Layout LayOut(const Measures& measures, SIZE client) {
  return Composer(measures, client).Compose();
}

}  // namespace app
