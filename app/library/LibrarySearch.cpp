#include "app/library/LibrarySearch.h"

#include <algorithm>

namespace glintro {
namespace {

bool isTurkic(const QLocale& locale) {
    return locale.language() == QLocale::Turkish || locale.language() == QLocale::Azerbaijani;
}

bool isSpace(QChar character) {
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

// Belongs to the letter before it and makes it another one.
bool isAccent(QChar character) {
    constexpr int kFirstAttachedClass = 200; // of Unicode's combining classes: below them are vowel signs
    return character.category() == QChar::Mark_NonSpacing
           && character.combiningClass() >= kFirstAttachedClass;
}

} // namespace

QString foldedForSearch(const QString& text, const QLocale& locale) {
    QString composed = text.normalized(QString::NormalizationForm_C);
    if (isTurkic(locale)) composed.replace(u'I', u'ı').replace(u'İ', u'i');
    QString folded = composed.toCaseFolded().normalized(QString::NormalizationForm_C);
    return folded.replace(u'ß', QLatin1String("ss")); // the one fold to two letters that is typed
}

QString foldedQuery(const QString& query, const QLocale& locale) {
    const auto first = std::find_if_not(query.begin(), query.end(), isSpace);
    const auto last = std::find_if_not(query.rbegin(), std::make_reverse_iterator(first), isSpace).base();
    return foldedForSearch(QString(first, last - first), locale);
}

bool containsFolded(QStringView name, QStringView query) {
    for (qsizetype at = name.indexOf(query); at >= 0; at = name.indexOf(query, at + 1)) {
        const qsizetype end = at + query.size();
        if (query.isEmpty() || end == name.size() || !isAccent(name[end])) return true;
    }
    return false;
}

QString trimmedName(const QString& name) {
    return name.trimmed();
}

} // namespace glintro
