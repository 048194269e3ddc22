// Contrast, alone and together with brightness.
//
// Each function returns a new opaque picture like the source, or null when the source cannot be read. The
// one-value forms take one parameter for all three channels. Any double is accepted: results are computed in
// double precision, truncated toward zero and clamped to 0..255; what is not a number or lies beyond 32 bits
// gives 0.
#pragma once

#include "HostTypes.h"

/// c becomes (c - 127) x (contrast + 1) + 127: 0 changes nothing, -1 gives 127 everywhere.
REALpictureStruct* ContrastPicture1(REALpictureStruct* picture, double contrast);
REALpictureStruct* ContrastPicture3(REALpictureStruct* picture, double red, double green, double blue);

/// The contrast's result, not clamped before, plus the brightness.
REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* picture, double contrast,
                                                 double brightness);
REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* picture, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue);

/// The contrast's result, not clamped before, squeezed as by linear brightness, then clamped.
REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* picture, double contrast,
                                                 double brightness);
REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* picture, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue);
