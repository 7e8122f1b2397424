#include "platform/linux/PillPainter.h"

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/DisplaySession.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

PillContent listening(HUDPreference style = HUDPreference::full) {
  PillContent c;
  c.state = "Listening";
  c.hint = "release to finish";
  c.look = presentState(c.state);
  c.style = style;
  return c;
}

bool inside(const Rect &inner, const Rect &outer) {
  return inner.minX() >= outer.minX() && inner.maxX() <= outer.maxX() &&
         inner.minY() >= outer.minY() && inner.maxY() <= outer.maxY();
}

TEST(PillPainterTest, BarsSpanFromADotToTheMeterHeight) {
  for (auto style : {HUDPreference::full, HUDPreference::mini}) {
    const PillLayout layout = PillPainter::layout(listening(style));
    struct Case {
      double level, height;
    } cases[] = {{0, layout.barWidth},
                 {-3, layout.barWidth},
                 {1, layout.meter.size.height},
                 {7, layout.meter.size.height},
                 {0.5, (layout.barWidth + layout.meter.size.height) / 2}};
    for (const Case &c : cases) {
      const Rect bar = PillPainter::barRect(layout, 5, c.level);
      EXPECT_DOUBLE_EQ(bar.size.height, c.height) << "level " << c.level;
      EXPECT_DOUBLE_EQ(bar.midY(), layout.meter.midY());
    }
    const Rect first = PillPainter::barRect(layout, 0, 1);
    const Rect last = PillPainter::barRect(layout, HUDModel::kBandCount - 1, 1);
    EXPECT_DOUBLE_EQ(first.minX(), layout.meter.minX());
    EXPECT_DOUBLE_EQ(last.maxX(), layout.meter.maxX());
    EXPECT_LT(PillPainter::barRect(layout, 3, 1).maxX(), PillPainter::barRect(layout, 4, 1).minX());
  }
}

TEST(PillPainterTest, EveryPartFitsInsideThePillWithoutOverlapping) {
  PillContent withQuestion = listening();
  withQuestion.question = "Discard? A much longer question than the row above it";
  PillContent noSymbol = listening();
  noSymbol.state = "Copied to the clipboard";
  noSymbol.look = presentState(noSymbol.state);
  noSymbol.hint.clear();
  for (const PillContent &content :
       {listening(), listening(HUDPreference::mini), withQuestion, noSymbol}) {
    const PillLayout l = PillPainter::layout(content);
    const Rect pill{{0, 0}, l.size};
    EXPECT_TRUE(inside(l.meter, pill)) << content.state;
    for (const auto &part : {l.symbol, l.stateText, l.hint, l.question})
      if (part) {
        EXPECT_TRUE(inside(*part, pill)) << content.state;
      }
    if (l.stateText) {
      EXPECT_LE(l.stateText->maxX(), l.meter.minX());
    }
    if (l.symbol && l.stateText) {
      EXPECT_LE(l.symbol->maxX(), l.stateText->minX());
    }
    if (l.question) {
      EXPECT_GE(l.question->minY(), l.meter.maxY());
    }
  }
  EXPECT_FALSE(PillPainter::layout(noSymbol).symbol);
  EXPECT_LT(PillPainter::layout(listening(HUDPreference::mini)).size.height,
            PillPainter::layout(listening()).size.height);
}

TEST(PillPainterTest, OnlyARecordingShowsTheHintLine) {
  FakeEnvironment env;
  HUDModel model;
  struct Case {
    const char *state;
    bool hint;
  } cases[] = {{"Listening", true}, {"Transcribing…", false}, {"Microphone unavailable", false}};
  for (const Case &c : cases) {
    model.setState(c.state);
    EXPECT_EQ(!PillContent::from(model).hint.empty(), c.hint) << c.state;
  }
}

// Reads one pixel of an ARGB32 surface as (alpha, red) bytes.
std::pair<int, int> pixel(cairo_surface_t *surface, double x, double y) {
  cairo_surface_flush(surface);
  const unsigned char *data = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const auto word = *reinterpret_cast<const std::uint32_t *>(data + int(y) * stride + int(x) * 4);
  return {int(word >> 24), int((word >> 16) & 0xff)};
}

TEST(PillPainterTest, PaintsLoudBarsInTheTintAndLeavesTheCornersClear) {
  PillContent loud = listening();
  loud.outline = PillOutline{PillOutline::Kind::none, {}};
  loud.bands.fill(1);
  PillContent quiet = loud;
  quiet.bands.fill(0);
  const PillLayout layout = PillPainter::layout(loud);
  const Rect bar = PillPainter::barRect(layout, 10, 1);
  const double x = bar.midX(), y = bar.minY() + 2; // high up the bar: only a loud bar reaches
  for (const auto &[content, red] : {std::pair{loud, true}, std::pair{quiet, false}}) {
    cairo_surface_t *surface = cairo_image_surface_create(
        CAIRO_FORMAT_ARGB32, int(layout.size.width), int(layout.size.height));
    cairo_t *cr = cairo_create(surface);
    PillPainter::paint(cr, content, layout, 16);
    EXPECT_EQ(pixel(surface, 0, 0).first, 0) << "the corner outside the rounding stays clear";
    EXPECT_EQ(pixel(surface, x, y).second > 150, red);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
}

TEST(DisplaySessionTest, WaylandWinsOverAnXWaylandDisplay) {
  struct Case {
    const char *wayland, *sessionType, *display;
    DisplaySessionKind kind;
  } cases[] = {
      {nullptr, "x11", ":0", DisplaySessionKind::x11},
      {"wayland-0", "wayland", ":0", DisplaySessionKind::wayland},
      {nullptr, "wayland", ":1", DisplaySessionKind::wayland},
      {"", "", ":0", DisplaySessionKind::x11},
      {nullptr, nullptr, nullptr, DisplaySessionKind::none},
      {"", "tty", "", DisplaySessionKind::none},
  };
  for (const Case &c : cases)
    EXPECT_EQ(DisplaySession::classify(c.wayland, c.sessionType, c.display), c.kind);
}

} // namespace
} // namespace selvar
