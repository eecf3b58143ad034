// A chart as a picture, drawn with cairo, which writes both formats from the same calls.
//
// A panel has 960 by 200 points. A series is drawn in 1,600 slices of time, twice as fine as the
// pixels, as steps, because a value holds until the next one. In a slice with several values the
// line goes through the smallest and the largest, so that no peak is lost.

#include "cli/measure/chart.h"

#include <cairo-svg.h>
#include <cairo.h>
#include <fmt/core.h>

#include <array>
#include <memory>

#include "cli/base/text.h"

namespace vantry::cli {
namespace {

constexpr double kWidth = 960;
constexpr double kPanel = 200;
constexpr double kLeft = 80;
constexpr double kRight = 20;
/// The heading of a panel, and the labels below the last one.
constexpr double kTop = 34;
constexpr double kBottom = 30;
constexpr std::size_t kSlices = 1600;

struct Color {
    double red;
    double green;
    double blue;
};
constexpr Color kText = {0.15, 0.15, 0.18};
constexpr Color kGrid = {0.86, 0.87, 0.89};
constexpr std::array<Color, 4> kLines = {
    {{0.07, 0.36, 0.68}, {0.75, 0.29, 0.05}, {0.10, 0.49, 0.27}, {0.48, 0.22, 0.60}}};

struct Free {
    void operator()(cairo_t* pen) const { cairo_destroy(pen); }
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

cairo_status_t Append(void* into, const unsigned char* bytes, unsigned length) {
    static_cast<std::string*>(into)->append(reinterpret_cast<const char*>(bytes), length);
    return CAIRO_STATUS_SUCCESS;
}

/// Where a number and a moment lie in a panel.
struct Panel {
    double top;
    Extent scale;
    Moment begin;
    Moment end;

    double Height() const { return kPanel - kTop; }
    double Bottom() const { return top + Height(); }
    double Y(double number) const {
        return Bottom() - (number - scale.low) / (scale.high - scale.low) * Height();
    }
    double X(Moment moment) const {
        return kLeft + static_cast<double>(moment - begin) / static_cast<double>(end - begin) *
                           (kWidth - kLeft - kRight);
    }
};

void SetColor(cairo_t* pen, const Color& color) {
    cairo_set_source_rgb(pen, color.red, color.green, color.blue);
}

void Line(cairo_t* pen, double fromX, double fromY, double toX, double toY) {
    cairo_move_to(pen, fromX, fromY);
    cairo_line_to(pen, toX, toY);
    cairo_stroke(pen);
}

/// Writes a text that begins (0), has its middle (0.5) or ends (1) at the point.
void Text(cairo_t* pen, const std::string& text, double x, double y, double part) {
    cairo_text_extents_t extents;
    cairo_text_extents(pen, text.c_str(), &extents);
    cairo_move_to(pen, x - extents.x_advance * part, y);
    cairo_show_text(pen, text.c_str());
}

void DrawGrid(cairo_t* pen, const Panel& panel, bool isLast) {
    cairo_set_line_width(pen, 1);
    cairo_set_font_size(pen, 11);
    for (const double number : RoundNumbers(panel.scale, 5)) {
        SetColor(pen, kGrid);
        Line(pen, kLeft, panel.Y(number), kWidth - kRight, panel.Y(number));
        SetColor(pen, kText);
        Text(pen, fmt::format("{:.6g}", number), kLeft - 8, panel.Y(number) + 4, 1);
    }
    for (const Moment moment : RoundMoments(panel.begin, panel.end, 8)) {
        SetColor(pen, kGrid);
        Line(pen, panel.X(moment), panel.top, panel.X(moment), panel.Bottom());
        if (isLast) {
            SetColor(pen, kText);
            Text(pen, MomentLabel(moment, panel.end - panel.begin), panel.X(moment),
                 panel.Bottom() + 18, 0.5);
        }
    }
}

void DrawLine(cairo_t* pen, const Panel& panel, const std::vector<Slice>& slices) {
    cairo_set_line_width(pen, 1.5);
    const double step = (kWidth - kLeft - kRight) / static_cast<double>(slices.size());
    bool isDown = false;
    for (std::size_t place = 0; place < slices.size(); ++place) {
        const double x = kLeft + step * static_cast<double>(place);
        const Slice& slice = slices[place];
        if (slice.extent) {
            (isDown ? cairo_line_to : cairo_move_to)(pen, x, panel.Y(slice.extent->low));
            cairo_line_to(pen, x, panel.Y(slice.extent->high));
        }
        isDown = slice.last.has_value();
        if (isDown) {
            cairo_line_to(pen, x, panel.Y(*slice.last));
            cairo_line_to(pen, x + step, panel.Y(*slice.last));
        }
    }
    cairo_stroke(pen);
}

std::string HeadingOf(const Series& series, const std::optional<Extent>& extent) {
    std::string text = Utf8(Printable(series.name));
    text += series.unit.empty() ? "" : " (" + Utf8(series.unit) + ")";
    return extent ? fmt::format("{}: {:.6g} to {:.6g}", text, extent->low, extent->high)
                  : text + ": no value";
}

void Draw(cairo_t* pen, const std::vector<Series>& all, Moment begin, Moment end) {
    cairo_set_source_rgb(pen, 1, 1, 1);
    cairo_paint(pen);
    cairo_select_font_face(pen, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    for (std::size_t place = 0; place < all.size(); ++place) {
        const std::vector<Slice> slices = SlicesOf(all[place], begin, end, kSlices);
        const auto extent = ExtentOf(slices);
        const Panel panel{kPanel * static_cast<double>(place) + kTop,
                          extent.value_or(Extent{0, 0}).Widened(), begin, end};
        SetColor(pen, kText);
        cairo_set_font_size(pen, 13);
        Text(pen, HeadingOf(all[place], extent), kLeft, panel.top - 12, 0);
        DrawGrid(pen, panel, place + 1 == all.size());
        SetColor(pen, kLines[place % kLines.size()]);
        DrawLine(pen, panel, slices);
    }
}

}  // namespace

client::Result<std::string> DrawChart(const std::vector<Series>& all, Moment begin, Moment end,
                                      ChartFormat format) {
    const double height = kPanel * static_cast<double>(all.size()) + kBottom;
    std::string content;
    const std::unique_ptr<cairo_surface_t, Free> surface(
        format == ChartFormat::Svg
            ? cairo_svg_surface_create_for_stream(&Append, &content, kWidth, height)
            : cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(kWidth),
                                         static_cast<int>(height)));
    const std::unique_ptr<cairo_t, Free> pen(cairo_create(surface.get()));
    Draw(pen.get(), all, begin, std::max(end, begin + 1));
    cairo_status_t status = cairo_status(pen.get());
    if (status == CAIRO_STATUS_SUCCESS && format == ChartFormat::Png) {
        status = cairo_surface_write_to_png_stream(surface.get(), &Append, &content);
    }
    cairo_surface_finish(surface.get());
    if (status == CAIRO_STATUS_SUCCESS) {
        status = cairo_surface_status(surface.get());
    }
    if (status != CAIRO_STATUS_SUCCESS) {
        return client::Error{client::ErrorCode::Refused, std::string("can't draw the chart: ") +
                                                             cairo_status_to_string(status)};
    }
    return content;
}

}  // namespace vantry::cli
