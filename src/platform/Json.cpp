#include "platform/Json.h"
