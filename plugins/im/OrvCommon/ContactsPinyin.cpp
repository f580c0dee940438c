// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsPinyin.h"
#include "orvcommon_logging.h"

#include <unicode/translit.h>
#include <unicode/unistr.h>

namespace {

struct Transliterators
{
    std::unique_ptr<icu::Transliterator> general;
    std::unique_ptr<icu::Transliterator> names;
    bool ok = false;

    Transliterators()
    {
        UErrorCode status = U_ZERO_ERROR;
        general.reset(icu::Transliterator::createInstance(icu::UnicodeString("Han-Latin", -1, US_INV), UTRANS_FORWARD, status));
        UErrorCode namesStatus = U_ZERO_ERROR;
        names.reset(
            icu::Transliterator::createInstance(icu::UnicodeString("Han-Latin/Names", -1, US_INV), UTRANS_FORWARD, namesStatus));
        ok = U_SUCCESS(status) && general;
        if (!ok)
            qCWarning(lcContacts) << "ICU has no Han-Latin transliterator:" << u_errorName(status)
                                  << "; names match by their characters only";
        if (U_FAILURE(namesStatus))
            names.reset();
    }
};

Transliterators &icuTransliterators()
{
    static Transliterators t;
    return t;
}

struct Caches
{
    QHash<char32_t, QString> general;
    QHash<char32_t, QString> surname;
    QHash<QString, ContactsPinyin::KeysPtr> names;
};

Caches &caches()
{
    static Caches c;
    return c;
}

// "lǚ" -> "lv", "zhāng" -> "zhang": tone marks dropped, ü typed as v as every pinyin keyboard does.
QString toAsciiSyllable(const icu::UnicodeString &latin)
{
    const QString decomposed =
        QString(reinterpret_cast<const QChar *>(latin.getBuffer()), latin.length()).normalized(QString::NormalizationForm_D);
    QString out;
    out.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.unicode() == 0x0308 && out.endsWith(QLatin1Char('u'))) {
            out[out.size() - 1] = QLatin1Char('v');
            continue;
        }
        const QChar lower = c.toLower();
        if (lower >= QLatin1Char('a') && lower <= QLatin1Char('z'))
            out.append(lower);
    }
    return out;
}

QString transliterate(icu::Transliterator *t, char32_t ucs4)
{
    icu::UnicodeString text{UChar32(ucs4)};
    t->transliterate(text);
    return toAsciiSyllable(text);
}

void markAscii(quint64 (&mask)[2], const QString &s)
{
    for (const QChar c : s) {
        const ushort u = c.unicode();
        if (u < 128)
            mask[u >> 6] |= quint64(1) << (u & 63);
    }
}

bool isWordChar(char32_t c)
{
    return QChar::isLetterOrNumber(c);
}

} // namespace

bool ContactsPinyin::isAvailable()
{
    return icuTransliterators().ok;
}

bool ContactsPinyin::isHan(char32_t ucs4)
{
    return QChar::script(ucs4) == QChar::Script_Han;
}

QString ContactsPinyin::syllable(char32_t ucs4, bool surname)
{
    if (!isHan(ucs4))
        return {};
    Transliterators &t = icuTransliterators();
    if (!t.ok)
        return {};
    auto &cache = (surname && t.names) ? caches().surname : caches().general;
    const auto it = cache.constFind(ucs4);
    if (it != cache.constEnd())
        return *it;
    const QString s = transliterate((surname && t.names) ? t.names.get() : t.general.get(), ucs4);
    cache.insert(ucs4, s);
    return s;
}

ContactsPinyin::Keys ContactsPinyin::computeKeys(const QString &name)
{
    Keys k;
    k.folded = name.toCaseFolded();
    k.compact.reserve(k.folded.size());
    k.full.reserve(k.folded.size() * 3);
    k.units.reserve(k.folded.size());
    k.codes.reserve(k.folded.size());

    bool wordStart = true;
    bool firstUnit = true;
    QString altFirstSyllable;
    const QVector<uint> codePoints = k.folded.toUcs4();
    for (const uint cp : codePoints) {
        const char32_t c = cp;
        if (QChar::isSpace(c) || QChar::category(c) == QChar::Other_Control || QChar::category(c) == QChar::Other_Format) {
            wordStart = true;
            continue;
        }
        const QString ch = QString::fromUcs4(&c, 1);
        k.compact.append(ch);
        k.codes.append(c);
        QString syl;
        if (isHan(c)) {
            syl = syllable(c, firstUnit);
            if (firstUnit && !syl.isEmpty()) {
                const QString general = syllable(c, false);
                if (general != syl && !general.isEmpty())
                    altFirstSyllable = general;
            }
        }
        if (!syl.isEmpty()) {
            k.hasHan = true;
            k.units.append(syl);
            k.full.append(syl);
            k.initials.append(syl.at(0));
            wordStart = true; // every Han character is a word of its own
        } else {
            k.units.append(ch);
            k.full.append(ch);
            if (isWordChar(c)) {
                if (wordStart)
                    k.initials.append(ch);
                wordStart = false;
            } else {
                wordStart = true;
            }
        }
        firstUnit = false;
    }
    if (!altFirstSyllable.isEmpty()) {
        k.altFirst = altFirstSyllable;
        k.altFull = altFirstSyllable + k.full.mid(k.units.at(0).size());
        k.altInitials = altFirstSyllable.at(0) + k.initials.mid(1);
    }
    markAscii(k.asciiMask, k.folded);
    markAscii(k.asciiMask, k.full);
    markAscii(k.asciiMask, k.altFull);
    return k;
}

ContactsPinyin::KeysPtr ContactsPinyin::keys(const QString &name)
{
    auto &cache = caches().names;
    const auto it = cache.constFind(name);
    if (it != cache.constEnd())
        return *it;
    auto k = std::make_shared<const Keys>(computeKeys(name));
    cache.insert(name, k);
    return k;
}

void ContactsPinyin::clearCaches()
{
    caches().general.clear();
    caches().surname.clear();
    caches().names.clear();
}

void ContactsPinyin::trimNameCache()
{
    auto &cache = caches().names;
    for (auto it = cache.begin(); it != cache.end();) {
        if (it->use_count() == 1)
            it = cache.erase(it);
        else
            ++it;
    }
}

int ContactsPinyin::cachedNames()
{
    return caches().names.size();
}
