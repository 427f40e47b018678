#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace glintro {

// Texts under keys, from which Preferences reads its values. Main thread.
class PreferenceStore {
  public:
    virtual ~PreferenceStore() = default;

    // `nullopt` for a key that is not there.
    virtual std::optional<std::string> text(std::string_view key) const = 0;
    virtual void setText(std::string_view key, const std::string& text) = 0;
};

// Keeps the texts of one run in memory.
class TransientPreferenceStore final : public PreferenceStore {
  public:
    std::optional<std::string> text(std::string_view key) const override;
    void setText(std::string_view key, const std::string& text) override;

  private:
    std::map<std::string, std::string, std::less<>> texts_;
};

} // namespace glintro
