// The formulas that the contrast and brightness methods share.
#pragma once

/// The contrast change of one channel: 127 stays (compatibility.md#the-centre-of-contrast).
struct ContrastFormula {
    double factor;

    explicit ContrastFormula(double contrast) : factor(contrast + 1) {}
    double operator()(double c) const { return (c - 127) * factor + 127; }
};

/// Linear brightness of one channel: squeezes 0..255 to 0..255 + b for a negative b, so that black stays
/// black, otherwise (also when b is not a number) to b..255, so that white stays white.
struct LinearBrightnessFormula {
    double scale;
    double offset;

    explicit LinearBrightnessFormula(double b)
        : scale(b < 0 ? (b + 255) / 255 : (255 - b) / 255), offset(b < 0 ? 0 : b) {}
    double operator()(double c) const { return c * scale + offset; }
};
