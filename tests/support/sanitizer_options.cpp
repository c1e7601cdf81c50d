// What the sanitizers do in tests and fuzz targets, however they are started.
// Without a sanitizer nobody calls these.

extern "C" {

const char* __asan_default_options() {
  return "detect_leaks=1:strict_string_checks=1:"
         "detect_stack_use_after_return=1:allocator_may_return_null=1";
}

const char* __ubsan_default_options() {
  return "print_stacktrace=1:halt_on_error=1:"
         "suppressions=" NALO_UBSAN_SUPPRESSIONS;
}

const char* __tsan_default_options() {
  return "halt_on_error=1:allocator_may_return_null=1";
}

}  // extern "C"
