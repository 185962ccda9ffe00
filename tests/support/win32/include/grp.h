// Groups are POSIX alone; what the tests use of them posix.h has.
#pragma once
