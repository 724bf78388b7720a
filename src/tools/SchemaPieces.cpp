#include "tools/SchemaPieces.h"

namespace brindlevane::BrindlevaneMCP {

const Json& confirmationProperties() {
  static const Json kPiece = {
      {"confirm",
       {{"type", "boolean"},
        {"const", true},
        {"description",
         "Must be true only after the user explicitly approves this Ableton change."}}}};
  return kPiece;
}

const Json& revisionProperty() {
  static const Json kPiece = {
      {"type", "integer"},
      {"minimum", 0},
      {"description", "Revision returned by brindlevane_get_context or brindlevane_get_session."}};
  return kPiece;
}

const Json& sessionRevisionProperty() {
  static const Json kPiece = {{"type", "integer"},
                              {"minimum", 0},
                              {"description", "Revision returned by brindlevane_get_session."}};
  return kPiece;
}

const Json& trackIndexProperty() {
  static const Json kPiece = {{"type", "integer"},
                              {"minimum", 0},
                              {"description", "Zero-based index from projectAnalysis.tracks."}};
  return kPiece;
}

const Json& midiNotesProperty() {
  static const Json kPiece = {
      {"type", "array"},
      {"minItems", 1},
      {"maxItems", kMostNotes},
      {"items",
       {{"type", "object"},
        {"additionalProperties", false},
        {"required", {"pitch", "startTime", "duration"}},
        {"properties",
         {{"pitch", {{"type", "integer"}, {"minimum", 0}, {"maximum", 127}}},
          {"startTime", {{"type", "number"}, {"minimum", 0}}},
          {"duration", {{"type", "number"}, {"exclusiveMinimum", 0}}},
          {"velocity", {{"type", "number"}, {"minimum", 1}, {"maximum", 127}}},
          {"mute", {{"type", "boolean"}}},
          {"probability", {{"type", "number"}, {"minimum", 0}, {"maximum", 1}}}}}}}};
  return kPiece;
}

const Json& trackCreationProperties() {
  static const Json kPiece = {
      {"index",
       {{"type", "integer"},
        {"minimum", 0},
        {"description", "Optional zero-based insertion index. Omit to append."}}},
      {"name", {{"type", "string"}, {"minLength", 1}, {"maxLength", kLongestName}}},
      {"expectedRevision", revisionProperty()},
      {"confirm", confirmationProperties().at("confirm")}};
  return kPiece;
}

}  // namespace brindlevane::BrindlevaneMCP
