// Whether the tests run with AddressSanitizer, where everything takes several times as long: a
// test that repeats something at random then does it less often. What it looks for there, a wrong
// access to memory, shows in few repetitions or in none; the release build takes all of them.
#ifndef VMR_TESTS_SUPPORT_SANITIZED_H_
#define VMR_TESTS_SUPPORT_SANITIZED_H_

namespace vmr::test {

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_SANITIZED_H_
