// The library itself, compiled once instead of in every source that uses it.
#include <asio/impl/src.hpp>
