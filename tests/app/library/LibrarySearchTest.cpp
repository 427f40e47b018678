#include <gtest/gtest.h>

#include "app/library/LibrarySearch.h"

namespace glintro {
namespace {

const QLocale kEnglish(QLocale::English);
const QLocale kTurkish(QLocale::Turkish);

TEST(LibrarySearch, IgnoresCaseButNotAccents) {
    struct Row {
        QString name;
        QString query;
        bool isFound;
        QLocale locale = kEnglish;
    };
    const QString demo = QStringLiteral("Démo 🎬 import take 2");
    const QString decomposed = demo.normalized(QString::NormalizationForm_D);
    const Row rows[] = {{demo, "   ", true},
                        {demo, "DÉMO", true},
                        {demo, "DEMO", false},
                        {decomposed, "DÉMO", true},
                        {decomposed, "de", false},
                        {demo, QStringLiteral("DÉMO").normalized(QString::NormalizationForm_D), true},
                        {demo, "\t 🎬 ", true},
                        {demo, "import  take", false},
                        {demo, "\nimport", false},
                        {"line\nbreak", "line\nbreak", true},
                        {"x̂ and x", "x̂", true},
                        {"only x̂", "x", false},
                        {"x̂ and x", "x", true},
                        {"STRASSE", "straße", true},
                        {"ΣΊΣΥΦΟΣ", "σίσυφος", true},
                        {"INDIGO", "indigo", true},
                        {"INDIGO", "indigo", false, kTurkish},
                        {"İZMİR", "izmir", true, kTurkish},
                        {"DIŞ", "dış", true, kTurkish},
                        {"नमस्ते", "नमस", true},
                        {"", "a", false},
                        {"", "", true}};
    for (const Row& row : rows)
        EXPECT_EQ(containsFolded(foldedForSearch(row.name, row.locale), foldedQuery(row.query, row.locale)),
                  row.isFound)
            << row.name.toStdString() << " / " << row.query.toStdString();
}

TEST(LibrarySearch, TrimsNames) {
    EXPECT_EQ(trimmedName(" \n Renamed ✂️ reel \t"), "Renamed ✂️ reel");
    EXPECT_EQ(trimmedName(QStringLiteral(" \n\u00a0\u2028")), "");
}

} // namespace
} // namespace glintro
