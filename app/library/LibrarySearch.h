#pragma once

#include <QLocale>
#include <QString>
#include <QStringView>

namespace glintro {

// Finding reels by name: case is ignored by the rules of the user's language, accents count. Any thread.

// A text in the form in which names and queries are compared: "DÉMO" and "démo" give the same, also where
// the accent is a character of its own; "demo" gives another. Ask once for each name and keep it.
QString foldedForSearch(const QString& text, const QLocale& locale = QLocale());

// The query without the white space around it, folded. Line breaks are kept. Empty: everything is found.
QString foldedQuery(const QString& query, const QLocale& locale = QLocale());

// Whether a folded name contains a folded query. A letter is not found in one that carries another accent.
bool containsFolded(QStringView name, QStringView query);

// A name as the user meant it: without white space and line breaks around it.
QString trimmedName(const QString& name);

} // namespace glintro
