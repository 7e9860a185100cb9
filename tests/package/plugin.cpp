#include "common/json/json_object.h"
#include "common/system/identity.h"

extern "C" size_t LengthOfAnIdentity() {
  JsonObject identity = JsonObject::GetEmptyObject();
  identity["uuid"] = NewUUID();
  return std::string(identity["uuid"]).size();
}
