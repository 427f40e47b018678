#pragma once

#include <QSettings>
#include <filesystem>

#include "app/preferences/PreferenceStore.h"

namespace glintro {

// Keeps the texts in an ini file, where the user may change them by hand. Several processes may use one file:
// each sees what the others wrote when it next synchronises, which Qt does from the event loop. A file that
// cannot be read is as good as none.
class IniPreferenceStore final : public PreferenceStore {
  public:
    explicit IniPreferenceStore(const std::filesystem::path& file);

    // "glintro/glintro.ini" in the user's configuration folder, XDG_CONFIG_HOME or ~/.config.
    static std::filesystem::path fileOfUser();

    std::optional<std::string> text(std::string_view key) const override;
    void setText(std::string_view key, const std::string& text) override;

  private:
    QSettings settings_;
};

} // namespace glintro
