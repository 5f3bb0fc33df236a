// Action channels: the state of an agent's playback table as brains read it ("phase", "latch",
// "PATTERN:active", "PATTERN:phase", "PATTERN:rate", "PATTERN:running", bare action names).
#include <fnmatch.h>

#include <cstring>
#include <string>
#include <string_view>

#include "agent/agent.h"
#include "motion/playback.h"

namespace {

// Shell-style wildcards; "/" and a leading "." are ordinary characters.
bool name_matches(const char* pattern, const Action* action) {
  return action != nullptr && action->name != nullptr && fnmatch(pattern, action->name, 0) == 0;
}

bool slot_in_use(const PlaybackSlot& slot) {
  return slot.state != 0 && slot.action != nullptr;
}

// Track of a "phase" name: "phase" is track 0, "phase1" to "phase8" tracks 1 to 8; -1 otherwise.
int phase_track(std::string_view name) {
  if (name == "phase") return 0;
  if (name.size() == 6 && name[5] >= '1' && name[5] <= '8') return name[5] - '0';
  return -1;
}

// Normalised loop phase of the heaviest slot of a track (weights above -0.1; ties go to the
// earlier slot), or 0 when no slot qualifies.
float track_phase(const PlaybackSlot* table, int track) {
  const PlaybackSlot* best = nullptr;
  float best_weight = -0.1f;
  for (int i = 0; i < kPlaybackSlots; ++i) {
    const PlaybackSlot& slot = table[i];
    if (!slot_in_use(slot) || slot.action->track != track) continue;
    if (slot.weight > best_weight) {
      best_weight = slot.weight;
      best = &slot;
    }
  }
  return best != nullptr ? playback_loop_phase(best) : 0.0f;
}

// Largest weight of the slots in use whose action matches the pattern, from 0.
float largest_weight(const PlaybackSlot* table, const char* pattern) {
  float largest = 0.0f;
  for (int i = 0; i < kPlaybackSlots; ++i) {
    const PlaybackSlot& slot = table[i];
    if (slot_in_use(slot) && name_matches(pattern, slot.action) && slot.weight > largest)
      largest = slot.weight;
  }
  return largest;
}

}  // namespace

extern "C" {

int action_channel_query(Agent* agent, const char* name, float* value) {
  float result = 0.0f;
  int answered = 0;
  const PlaybackSlot* table = agent != nullptr ? agent->playbacks : nullptr;
  if (table != nullptr && name != nullptr) {
    const std::string_view channel(name);
    const int track = channel.starts_with("phase") ? phase_track(channel) : -1;
    Action* actions = playback_actions(agent);
    if (track >= 0) {
      result = track_phase(table, track);
      answered = 1;
    } else if (channel == "latch") {
      result = static_cast<float>(playback_latch(agent, 0));
      answered = 1;
    } else if (const size_t colon = channel.find(':'); colon != std::string_view::npos) {
      const std::string pattern(channel.substr(0, colon));
      bool known = false;
      for (Action* action = actions; action != nullptr && !known; action = action->next)
        known = name_matches(pattern.c_str(), action);
      if (known) {
        // Suffixes are recognised as substrings of the whole name, in this order.
        if (std::strstr(name, ":active") != nullptr) {
          result = largest_weight(table, pattern.c_str());
          answered = 1;
        } else if (std::strstr(name, ":phase") != nullptr) {
          // A raw phase is compared against the normalised phase taken so far.
          for (int i = 0; i < kPlaybackSlots; ++i) {
            const PlaybackSlot& slot = table[i];
            if (slot_in_use(slot) && name_matches(pattern.c_str(), slot.action) &&
                slot.phase > result)
              result = playback_loop_phase(&slot);
          }
          answered = 1;
        } else if (std::strstr(name, ":rate") != nullptr) {
          for (int i = 0; i < kPlaybackSlots && !answered; ++i) {
            const PlaybackSlot& slot = table[i];
            if (!slot_in_use(slot) || !name_matches(pattern.c_str(), slot.action)) continue;
            result = slot.data != nullptr ? slot.data[kPlaybackDataRate] : slot.action->rate;
            answered = 1;
          }
        } else if (std::strstr(name, ":running") != nullptr) {
          for (int i = 0; i < kPlaybackSlots && result == 0.0f; ++i) {
            const PlaybackSlot& slot = table[i];
            if (slot_in_use(slot) && name_matches(pattern.c_str(), slot.action)) result = 1.0f;
          }
          answered = 1;
        }
      }
    } else {
      for (Action* action = actions; action != nullptr && !answered; action = action->next) {
        if (action->name != nullptr && channel == action->name) answered = 1;
      }
      if (answered) result = largest_weight(table, name);
    }
  }
  if (value != nullptr) *value = result;
  return answered;
}

}  // extern "C"
