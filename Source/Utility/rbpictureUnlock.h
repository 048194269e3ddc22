// The guarded lock on a picture's description.
#pragma once

#include "HostTypes.h"

/// Locks the picture's description for a native type; on failure the hook below has run.
bool REALLockPictureDescriptionX(REALpictureStruct* picture, REALpictureDescription* description,
                                 std::uint32_t nativeType);
/// What a failed lock leaves to undo: nothing on this platform.
void REALUnlockPictureDescriptionAfterFailure(REALpictureStruct* picture);

/// A picture's description, locked for a native type; unlocked at scope end unless it is kept.
class rbDescriptionLock {
 public:
    rbDescriptionLock(REALpictureStruct* source, REALpictureDescription* description,
                      std::uint32_t nativeType)
        : picture_(REALLockPictureDescriptionX(source, description, nativeType) ? source : nullptr) {}
    ~rbDescriptionLock();
    rbDescriptionLock(const rbDescriptionLock&) = delete;
    rbDescriptionLock& operator=(const rbDescriptionLock&) = delete;

    explicit operator bool() const { return picture_ != nullptr; }
    /// Somebody else unlocks it from here on.
    void keep() { picture_ = nullptr; }

 private:
    REALpictureStruct* picture_;
};
