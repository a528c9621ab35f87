// Reads the rows of a picture back as texts, out of those that may be there.
#pragma once

#include <string>
#include <vector>

#include "pixels/referenceRenderer.h"

// The shown rows from the top, up to the first that is empty. One that is none of the candidates
// comes as "?".
std::vector<std::string> readRows(const RgbImage& frame, const ReferenceScreen& screen,
                                  const ReferenceFont& font,
                                  const std::vector<std::string>& candidates);
