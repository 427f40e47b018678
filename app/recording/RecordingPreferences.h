#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace glintro {

// The user's preferences as texts under their keys. Main thread.
class PreferenceStore {
  public:
    virtual ~PreferenceStore() = default;

    virtual std::optional<std::string> text(std::string_view key) const = 0;
    virtual void setText(std::string_view key, const std::string& text) = 0;
};

// Preferences of one run, which nothing keeps.
class TransientPreferenceStore final : public PreferenceStore {
  public:
    std::optional<std::string> text(std::string_view key) const override;
    void setText(std::string_view key, const std::string& text) override;

  private:
    std::map<std::string, std::string, std::less<>> texts_;
};

// What the preferences say about recording. What is missing, or is not a value of its kind, has its default.
class RecordingPreferences {
  public:
    explicit RecordingPreferences(PreferenceStore& store) : store_(store) {}

    int captureFPS() const;    // frames a second, default 60
    bool useHEVC() const;      // default false
    bool countdown() const;    // default true
    bool recordMic() const;    // default false
    bool recordCamera() const; // default false

    void setCaptureFPS(int fps);
    void setUseHEVC(bool on);
    void setCountdown(bool on);
    void setRecordMic(bool on);
    void setRecordCamera(bool on);

  private:
    bool flag(std::string_view key, bool otherwise) const;
    void setFlag(std::string_view key, bool on);

    PreferenceStore& store_;
};

} // namespace glintro
