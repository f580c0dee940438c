// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>
#include <random>

// Names that mix the scripts contacts carry: Latin with and without accents, digits, common and
// rare (beyond U+FFFF) Han, kana, Hangul, fullwidth forms, private-use characters, emoji and
// symbols. Characters beyond U+FFFF against U+E000..U+FFFF are where code-unit and code-point
// orders part; common Han against Latin is where locales part.
class RandomNames
{
public:
    explicit RandomNames(quint32 seed) : m_rng(seed) {}

    QString next()
    {
        const int length = 1 + int(m_rng() % 6);
        QString out;
        for (int i = 0; i < length; ++i) {
            const char32_t c = character();
            out += QString::fromUcs4(&c, 1);
        }
        return out;
    }

    quint32 number(quint32 bound) { return m_rng() % bound; }
    std::mt19937 &rng() { return m_rng; }

private:
    char32_t character()
    {
        static const char32_t common[] = {U'张', U'李', U'王', U'赵', U'阿', U'明', U'伟', U'芳', U'娜', U'陈', U'中', U'学'};
        static const char32_t latin[] = {U'é', U'ü', U'ñ', U'Ø', U'ß', U'Å', U'ç'};
        static const char32_t symbols[] = {U' ', U'-', U'.', U'★', U'_', U'·'};
        switch (m_rng() % 12) {
        case 0: return U'A' + m_rng() % 26;
        case 1: return U'a' + m_rng() % 26;
        case 2: return U'0' + m_rng() % 10;
        case 3: return latin[m_rng() % (sizeof latin / sizeof *latin)];
        case 4: return common[m_rng() % (sizeof common / sizeof *common)];
        case 5: return 0x20000 + m_rng() % 0xA6D0;  // rare Han
        case 6: return 0x1F600 + m_rng() % 0x50;    // emoji
        case 7: return 0xFF21 + m_rng() % 0x1A;     // fullwidth Latin
        case 8: return 0xE000 + m_rng() % 0x100;    // private use
        case 9: return 0xAC00 + m_rng() % 0x2BA4;   // Hangul
        case 10: return 0x3041 + m_rng() % 0x56;    // hiragana
        default: return symbols[m_rng() % (sizeof symbols / sizeof *symbols)];
        }
    }

    std::mt19937 m_rng;
};
