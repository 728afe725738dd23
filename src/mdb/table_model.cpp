#include "mdb/table_model.h"
