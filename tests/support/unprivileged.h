// Acts as a user without rights for a while, so that permission failures are real for root, too.
#pragma once

#include <unistd.h>

namespace kavrel {

class Unprivileged {
 public:
  Unprivileged() : was_root_(geteuid() == 0) {
    if (was_root_ && (setegid(65534) != 0 || seteuid(65534) != 0)) _exit(99);
  }
  ~Unprivileged() {
    if (was_root_ && (seteuid(0) != 0 || setegid(0) != 0)) _exit(99);
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  bool was_root_;
};

}  // namespace kavrel
