#pragma once

#include "platform/Json.h"
#include "practice/LiveSet.h"

namespace brindlevane::practice {

/// Answers a route. It takes the set and the body of the request, which the server has checked, and
/// gives the "result" of the answer; one that cannot do as it is told throws a Refusal, and its
/// caller restores the song. What can be undone says in "action" what was done.
using Handler = Json(LiveSet& set, const Json& body);

/// Reading.
Handler health, session, context, projectAnalysis, mixPreparation, deviceParameters, keySource;

/// Transport, and one change at a time.
Handler play, stop, setTempo, createTrack, renameTrack, selectTrack, setTrackState, setTrackVolume,
    setSendLevel, setDeviceParameter, createMidiClip, replaceMidiClip, undo;

/// Names each track by its number and role and colours it and its clips by family; a track without
/// a role stays as it is.
Handler organizeTracks;

/// Appends a club arrangement of 128 bars in sections, in each of which the layers repeat the first
/// clip of their track.
Handler buildArrangement;

/// Ranks the sample catalogue by the words of "query", within "role" where given; the best
/// "limit" (12 without one) come back.
Handler searchSamples;

/// Puts one sample of the catalogue on a new audio track.
Handler importSample;

/// Recordings of the master, one at a time. Time goes 20 times as fast as in Live.
Handler startCapture, captureStatus;

/// Removes the temporary track and the recorded file, ready or not.
Handler endCapture;

}  // namespace brindlevane::practice
