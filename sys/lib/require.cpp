// The symbol of the build mode, and the failure of a checked precondition.
#include <nalo/impl/require>

#include <cstdio>
#include <cstdlib>

const char NALO_LIBRARY_MODE = 1;

#ifdef NALO_HARDENED
void nalo::impl::requirementFailed(const char* file, int line,
                                   const char* message) noexcept {
  std::fprintf(stderr, "%s:%d: %s\n", file, line, message);
  std::abort();
}
#endif
