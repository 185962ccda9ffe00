// Acts as a user without rights for a while, so that permission failures are real for root, too.
#pragma once

#include <grp.h>
#include <unistd.h>

#include <vector>

namespace kavrel {

class Unprivileged {
 public:
  Unprivileged() : was_root_(geteuid() == 0) {
    if (!was_root_) return;
    // At a login of root its files are those of a group of the process, too.
    groups_.resize(static_cast<std::size_t>(getgroups(0, nullptr)));
    const int count = getgroups(static_cast<int>(groups_.size()), groups_.data());
    if (count < 0 || setgroups(0, nullptr) != 0 || setegid(65534) != 0 || seteuid(65534) != 0) {
      _exit(99);
    }
  }
  ~Unprivileged() {
    if (!was_root_) return;
    if (seteuid(0) != 0 || setegid(0) != 0 || setgroups(groups_.size(), groups_.data()) != 0) {
      _exit(99);
    }
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  bool was_root_;
  std::vector<gid_t> groups_;
};

}  // namespace kavrel
