// Draws a history: a self-contained SVG, or a page with it, that can be mailed and opened without anything else.
//
// One row an item: runs as bars, pauses thin, ends as triangles above, starts that failed marked; launchers' starts and
// ends as vertical lines; local time above. Colours differ in brightness and marks in shape, for print and for the
// colour-blind; dark where the viewer is. No script, no font, no link. Its size is bounded, whatever the number of
// runs: what is narrower than two pixels is joined into columns, whose height is the share of the time, and the picture
// says so.
//
// Names are untrusted: they are shown as the log shows them, and escaped for XML.
#pragma once

#include <string>

#include "launcherctl/history.h"

struct PictureTexts {
  std::string title;  // Plain text, of any bytes.
};

// The SVG document of the time from `history.from_ms` to `history.until_ms`.
std::string HistorySvg(const History& history, const PictureTexts& texts);

// An HTML page with that picture and the same numbers as a table.
std::string HistoryHtml(const History& history, const PictureTexts& texts);
