// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QString>
#include <QVector>
#include <memory>

/**
 * Search keys of a name, the way Chinese users type it: the name itself case-folded, its full
 * pinyin ("zhangwei" for 张伟) and its initials ("zw"). Readings come from ICU's Han-to-Latin
 * transliteration, one Han character at a time, each character transliterated once per process.
 * The first Han character of a name also gets ICU's surname reading (曾 zeng rather than ceng);
 * when the two differ both are kept, so either finds the name.
 *
 * ICU reads one character at a time, words included (银行 reads yin xing), so keying a name is
 * linear in its length and each character is transliterated only once.
 *
 * GUI thread only; the caches are not locked.
 */
class ContactsPinyin
{
public:
    struct Keys
    {
        QString folded;         ///< the name, case-folded
        QString compact;        ///< folded without white space
        QString full;           ///< pinyin of Han characters, other letters as they are, no spaces
        QString initials;       ///< first letter of each syllable and of each Latin word or number
        QString altFull;        ///< full and initials with the general reading of the first Han
        QString altInitials;    ///< character, when it differs from its surname reading
        /// One entry per character (code point) of compact: its syllable, or the character itself.
        QVector<QString> units;
        QString altFirst;       ///< general reading of units[0] when altFull is set
        QVector<char32_t> codes; ///< the characters of compact, one per unit
        quint64 asciiMask[2] = {0, 0}; ///< every ASCII character that occurs in any key
        bool hasHan = false;
    };
    using KeysPtr = std::shared_ptr<const Keys>;

    /// Keys of a name, from the cache; computed the first time that name is seen.
    static KeysPtr keys(const QString &name);
    /// Computes keys without the name cache (the character cache is still used).
    static Keys computeKeys(const QString &name);
    /// The toneless lower-case syllable of one Han character; empty for other characters or when
    /// ICU has no reading. surname picks ICU's reading for family names.
    static QString syllable(char32_t ucs4, bool surname = false);
    static bool isHan(char32_t ucs4);

    /// Drops both caches (benchmarks measure a cold start with it).
    static void clearCaches();
    /// Drops cached names that are not in use outside the cache.
    static void trimNameCache();
    static int cachedNames();
    /// False when ICU's transliterator could not be created (names then match by characters only).
    static bool isAvailable();
};
