#include "platform/macos/CoreGraphicsIconRenderer.h"

#include "platform/macos/ObjCBridge.h"

#import <AppKit/AppKit.h>
#import <ImageIO/ImageIO.h>
#include <algorithm>
#include <functional>

// All drawing works in a unit square with the origin at the top left, like the other
// platforms' renderers, so the artwork is the same everywhere.

namespace selvar {

namespace {

using Draw = std::function<void(CGContextRef)>;

void addRoundedRect(CGContextRef cg, CGRect rect, CGFloat radius) {
  CFOwned<CGPathRef> path(CGPathCreateWithRoundedRect(rect, radius, radius, nullptr));
  CGContextAddPath(cg, path.get());
}

CFOwned<CGGradientRef> gradient(const CGFloat (&from)[4], const CGFloat (&to)[4]) {
  CFOwned<CGColorSpaceRef> space(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
  const CGFloat components[8] = {from[0], from[1], from[2], from[3], to[0], to[1], to[2], to[3]};
  const CGFloat locations[2] = {0, 1};
  return CFOwned<CGGradientRef>(
      CGGradientCreateWithColorComponents(space.get(), components, locations, 2));
}

const CGFloat kMagenta[4] = {1.0, 0.17, 0.84, 1};
const CGFloat kCyan[4] = {0.13, 0.90, 1.0, 1};

// Strokes the current path with the magenta-to-cyan gradient across [x0, x1].
void strokeNeon(CGContextRef cg, CGFloat x0, CGFloat x1, CGFloat width, CGFloat alpha) {
  auto neon = gradient(kMagenta, kCyan);
  CGContextSaveGState(cg);
  CGContextSetLineWidth(cg, width);
  CGContextReplacePathWithStrokedPath(cg);
  CGContextClip(cg);
  CGContextSetAlpha(cg, alpha);
  CGContextDrawLinearGradient(cg, neon.get(), CGPointMake(x0, 0), CGPointMake(x1, 0), 0);
  CGContextRestoreGState(cg);
}

// Vertical round-capped bars centred on (cx, cy).
void addBars(CGContextRef cg, CGFloat cx, CGFloat cy, const CGFloat *heights, int count,
             CGFloat spacing, CGFloat width) {
  CGFloat x = cx - spacing * (count - 1) / 2;
  for (int i = 0; i < count; ++i, x += spacing) {
    CGFloat half = std::max<CGFloat>(heights[i] / 2 - width / 2, 0.001);
    CGContextMoveToPoint(cg, x, cy - half);
    CGContextAddLineToPoint(cg, x, cy + half);
  }
}

void drawTile(CGContextRef cg) {
  const CGRect tile = CGRectMake(0.06, 0.06, 0.88, 0.88);
  const CGFloat top[4] = {0.16, 0.08, 0.35, 1}, bottom[4] = {0.05, 0.04, 0.14, 1};
  auto background = gradient(top, bottom);
  CGContextSaveGState(cg);
  addRoundedRect(cg, tile, 0.2);
  CGContextClip(cg);
  CGContextDrawLinearGradient(cg, background.get(), CGPointMake(0, 0.06), CGPointMake(0, 0.94), 0);
  CGContextRestoreGState(cg);
  addRoundedRect(cg, tile, 0.2);
  CGContextSetRGBStrokeColor(cg, 1, 1, 1, 0.08);
  CGContextSetLineWidth(cg, 0.01);
  CGContextStrokePath(cg);
}

void drawPill(CGContextRef cg) {
  const CGRect pill = CGRectMake(0.19, 0.37, 0.62, 0.26);
  const CGFloat x0 = CGRectGetMinX(pill), x1 = CGRectGetMaxX(pill);
  addRoundedRect(cg, pill, 0.13);
  CGContextSetRGBFillColor(cg, 0.04, 0.03, 0.12, 0.9);
  CGContextFillPath(cg);
  addRoundedRect(cg, pill, 0.13);
  strokeNeon(cg, x0, x1, 0.07, 0.22); // soft glow under the outline
  addRoundedRect(cg, pill, 0.13);
  strokeNeon(cg, x0, x1, 0.028, 1);
  const CGFloat heights[] = {0.06, 0.11, 0.16, 0.18, 0.13, 0.09, 0.05};
  CGContextSetLineCap(cg, kCGLineCapRound);
  addBars(cg, 0.5, 0.5, heights, 7, 0.062, 0.034);
  strokeNeon(cg, x0, x1, 0.034, 1);
}

void drawGlyph(CGContextRef cg) {
  CGContextSetRGBStrokeColor(cg, 0, 0, 0, 1);
  CGContextSetLineWidth(cg, 0.09);
  addRoundedRect(cg, CGRectMake(0.08, 0.25, 0.84, 0.5), 0.25);
  CGContextStrokePath(cg);
  const CGFloat heights[] = {0.16, 0.3, 0.2};
  CGContextSetLineCap(cg, kCGLineCapRound);
  addBars(cg, 0.5, 0.5, heights, 3, 0.17, 0.09);
  CGContextStrokePath(cg);
}

std::optional<std::string> render(const std::filesystem::path &file, int pixels, const Draw &draw) {
  if (pixels <= 0) return "invalid size " + std::to_string(pixels);
  CFOwned<CGColorSpaceRef> space(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
  CFOwned<CGContextRef> cg(CGBitmapContextCreate(
      nullptr, static_cast<size_t>(pixels), static_cast<size_t>(pixels), 8, 0, space.get(),
      static_cast<uint32_t>(kCGImageAlphaPremultipliedLast) | kCGBitmapByteOrder32Big));
  if (!cg) return "drawing failed: no bitmap context for " + std::to_string(pixels) + " pixels";
  CGContextTranslateCTM(cg.get(), 0, pixels);
  CGContextScaleCTM(cg.get(), pixels, -pixels);
  draw(cg.get());
  CFOwned<CGImageRef> image(CGBitmapContextCreateImage(cg.get()));
  NSURL *url = [NSURL fileURLWithPath:nsString(file.string())];
  CFOwned<CGImageDestinationRef> png(
      CGImageDestinationCreateWithURL((__bridge CFURLRef)url, CFSTR("public.png"), 1, nullptr));
  if (!image || !png) return "cannot write " + file.string();
  CGImageDestinationAddImage(png.get(), image.get(), nullptr);
  if (!CGImageDestinationFinalize(png.get())) return "cannot write " + file.string();
  return std::nullopt;
}

} // namespace

std::optional<std::string> CoreGraphicsIconRenderer::writeAppIcon(const std::filesystem::path &file,
                                                                  int pixels) {
  return render(file, pixels, [](CGContextRef cg) {
    drawTile(cg);
    drawPill(cg);
  });
}

std::optional<std::string>
CoreGraphicsIconRenderer::writeStatusGlyph(const std::filesystem::path &file, int pixels) {
  return render(file, pixels, drawGlyph);
}

NSImage *statusBarGlyph(double points) {
  NSImage *image = [NSImage imageWithSize:NSMakeSize(points, points)
                                  flipped:YES
                           drawingHandler:^BOOL(NSRect rect) {
                             CGContextRef cg = [NSGraphicsContext currentContext].CGContext;
                             CGContextScaleCTM(cg, rect.size.width, rect.size.height);
                             drawGlyph(cg);
                             return YES;
                           }];
  [image setTemplate:YES]; // "template" is a C++ keyword: no property syntax here
  return image;
}

} // namespace selvar
