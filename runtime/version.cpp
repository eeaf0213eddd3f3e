// The version, as text in the file: `strings libvorl_srv6.so.1 | grep ^libvorl_srv6` tells it of a
// library that was stripped or renamed. Nothing reads it, so the linker is told to keep it.
namespace vorl {

[[gnu::used, gnu::retain]] static constexpr char version_text[] = "libvorl_srv6 " VORL_VERSION;

} // namespace vorl
