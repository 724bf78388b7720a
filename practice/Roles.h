#pragma once

#include "platform/Json.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brindlevane::practice {

/// A musical role, as sample search and the workflows know it.
struct Role {
  std::string_view name;                ///< "kick"
  std::string_view label;               ///< what organising calls such a track
  std::string_view color;               ///< of its family, #rrggbb
  std::vector<std::string_view> stems;  ///< beginnings of words that tell of it
};

/// All roles, the most telling first; the last one is "other".
[[nodiscard]] std::span<const Role> roles();

/// The lower-case ASCII words of a text: "Clap_02 Tight" gives clap, 02, tight.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);

/// The role that a text tells of, "other" where it tells of none.
[[nodiscard]] const Role& roleOfText(std::string_view text);

/// The role of a track: from its name, else its clips' names, else what its notes look like.
[[nodiscard]] const Role& roleOfTrack(const Json& track);

}  // namespace brindlevane::practice
