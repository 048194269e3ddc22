#include "rbMultiplyUtil.h"

MultiplyTables::MultiplyTables() {
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int value = 0; value < 256; ++value) {
            unmultiply[alpha][value] = static_cast<std::uint8_t>(value);
        }
        const float factor = static_cast<float>(alpha) / 255.0F;
        for (int value = 0; value < 256; ++value) {
            const auto product = static_cast<std::uint8_t>(static_cast<float>(value) * factor + 0.5F);
            multiply[alpha][value] = product;
            unmultiply[alpha][product] = static_cast<std::uint8_t>(value);
        }
    }
}

const MultiplyTables& InitMultiplyTable() {
    static const MultiplyTables tables;
    return tables;
}
