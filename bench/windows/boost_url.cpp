// The peer's library, which is not packaged for Windows, out of its headers.
#include <boost/url/src.hpp>
