#include "app/preferences/IniPreferenceStore.h"

#include <QStandardPaths>
#include <QVariant>

namespace glintro {
namespace {

QString keyOf(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

} // namespace

IniPreferenceStore::IniPreferenceStore(const std::filesystem::path& file)
    : settings_(QString::fromStdString(file.string()), QSettings::IniFormat) {}

std::filesystem::path IniPreferenceStore::fileOfUser() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return std::filesystem::path(folder.toStdString()) / "glintro" / "glintro.ini";
}

std::optional<std::string> IniPreferenceStore::text(std::string_view key) const {
    const QVariant value = settings_.value(keyOf(key));
    if (value.typeId() == QMetaType::QString) return value.toString().toStdString();
    // The format takes an unquoted comma for the end of a list's element.
    if (value.typeId() == QMetaType::QStringList) return value.toStringList().join(", ").toStdString();
    return std::nullopt;
}

void IniPreferenceStore::setText(std::string_view key, const std::string& text) {
    settings_.setValue(keyOf(key), QString::fromStdString(text));
}

} // namespace glintro
