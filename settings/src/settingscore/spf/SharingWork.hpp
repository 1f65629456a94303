/// Marks a thread that works for publications: in a call of another process, in a listener of announcements,
/// or while a group is published or withdrawn. Who waits there until a publication has come or gone may wait
/// for itself.
#pragma once

namespace settings::spf {

class SharingWork {
  public:
    SharingWork() noexcept { ++depth; }
    SharingWork(const SharingWork&) = delete;
    SharingWork& operator=(const SharingWork&) = delete;
    ~SharingWork() { --depth; }

    static bool isHere() noexcept { return depth > 0; }

  private:
    static inline thread_local int depth = 0;
};

} // namespace settings::spf
