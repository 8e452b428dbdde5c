// The one header an application includes: every public part of Kiv.
#ifndef KIV_KIV_HPP_
#define KIV_KIV_HPP_

// Values and dictionaries.
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/background_queue.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/date_formatter.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/error.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/log.hpp"
#include "kiv/foundation/memory_cache.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/ox_dictionary_adapter.hpp"
#include "kiv/foundation/serial_queue.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"

// Model description.
#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"

// Model mapping.
#include "kiv/mapping/key_path.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"

// Model storage.
#include "kiv/storage/cache.hpp"
#include "kiv/storage/context.hpp"
#include "kiv/storage/storage.hpp"

// The collection database.
#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/db_row.hpp"
#include "kiv/collection/ox_db.hpp"
#include "kiv/collection/simple_database.hpp"

// The SQLite access layer.
#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/database_pool.hpp"
#include "kiv/sqlite/database_queue.hpp"
#include "kiv/sqlite/result_set.hpp"

#endif  // KIV_KIV_HPP_
