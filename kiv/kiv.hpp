// The one header an application includes.
#ifndef KIV_KIV_HPP_
#define KIV_KIV_HPP_

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/error.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/log.hpp"
#include "kiv/foundation/memory_cache.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/ox_dictionary_adapter.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/mapping/key_path.hpp"

#endif  // KIV_KIV_HPP_
