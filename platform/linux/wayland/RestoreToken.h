#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/linux/wayland/SharedSource.h"

namespace glintro {

// What the user agreed to share once: the portal's token, which shares it again without a dialog, and what it
// then stood for.
struct RememberedChoice {
    std::string token; // one word
    SharedSource source;
    bool operator==(const RememberedChoice&) const = default;
};

// The remembered choice of one kind and name, in a file of the user's state folder that nobody else may read:
// whoever holds a token may see the screen. Errors are ignored; the user is then asked again.
class RestoreToken {
  public:
    // `name`: what the user called the source ("Terminal", "2"); empty when they named none.
    RestoreToken(SharedSource::Kind kind, const std::string& name);

    std::optional<RememberedChoice> load() const; // nullopt when there is none
    // Forgets the choice when its token is empty.
    void save(const RememberedChoice& choice) const;

  private:
    std::filesystem::path file_;
};

} // namespace glintro
