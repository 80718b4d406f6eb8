// Lets tests look into any device object.
#pragma once

#include "device/VoteDeckObjectBase.h"

#include <map>
#include <set>
#include <string>

namespace vdipc {

struct VoteDeckObjectBaseAccess {
    static const std::map<std::string, EvaluateRequest>& ReservedRequests(const VoteDeckObjectBase& d) {
        return d.reserved_request_map_;
    }
    static const std::set<std::string>& ReservedIds(const VoteDeckObjectBase& d) {
        return d.reserved_id_set_;
    }
    static const std::map<std::string, AnswerRecord>& Answers(const VoteDeckObjectBase& d) {
        return d.last_answer_map_;
    }
    static const std::set<std::string>& Dropped(const VoteDeckObjectBase& d) { return d.dropped_device_set_; }
    static const IVoteDeckObjectEvent* Listener(const VoteDeckObjectBase& d) { return d.listener_; }
    static const std::string& AudioFileStorageBasePath(const VoteDeckObjectBase& d) {
        return d.audio_file_storage_base_path_;
    }
};

}  // namespace vdipc
