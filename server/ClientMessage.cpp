#include "server/ClientMessage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "server/JsonValue.h"

namespace QX::Server {

namespace {

using Store::RequestKind;

// The requests by id that a viewer may make, by their names in the log.
constexpr std::pair<std::string_view, RequestKind> kRequestKinds[] = {
    {"MESH_IDS", RequestKind::MeshIds},
    {"IMAGE_IDS", RequestKind::ImageIds},
    {"DATA_IDS", RequestKind::DataIds},
    {"GROUP_IDS", RequestKind::GroupIds},
    {"MATERIAL_IDS", RequestKind::MaterialIds},
    {"MATRIX_IDS", RequestKind::MatrixIds},
    {"MATERIAL_MAP_IDS", RequestKind::MaterialMapIds},
    {"COMPUTE_INSTANCE_INC_BOUNDING", RequestKind::ComputeInstanceIncBounding},
    {"GET_KEY_INFO", RequestKind::GetKeyInfo},
    {"INSTANCE_IDS_WITH_MESH_DATA", RequestKind::InstanceIdsWithMeshData},
    {"INSTANCE_IDS_WITHOUT_MESH_DATA", RequestKind::InstanceIdsWithoutMeshData},
    {"INSTANCE_GROUP_INCS_WITH_MESH_DATA", RequestKind::InstanceGroupIncsWithMeshData},
    {"INSTANCE_GROUP_INCS_WITHOUT_MESH_DATA", RequestKind::InstanceGroupIncsWithoutMeshData},
};

// Selections by planes take at most this many planes.
constexpr size_t kMaxPlanes = 64;

// Reads the members of one message object; every reader names the member
// in its error, so that the viewer's author sees what was wrong.
class Fields {
 public:
  explicit Fields(JsonValue const& object) : object_(object) {}

  JsonValue const* Optional(char const* name) const { return object_.Find(name); }

  JsonValue const& Required(char const* name) const {
    JsonValue const* value = object_.Find(name);
    if (value == nullptr) throw ProtocolError(std::string("missing member \"") + name + "\"");
    return *value;
  }

  double Number(char const* name) const { return NumberOf(Required(name), name); }

  uint32_t U32(char const* name) const { return U32Of(Required(name), name); }

  uint32_t U32Or(char const* name, uint32_t fallback) const {
    JsonValue const* value = Optional(name);
    return value ? U32Of(*value, name) : fallback;
  }

  bool Bool(char const* name) const {
    JsonValue const& value = Required(name);
    if (value.kind != JsonValue::Kind::Bool) throw ProtocolError(std::string("\"") + name + "\" must be true or false");
    return value.boolean;
  }

  std::string const& Text(char const* name) const {
    JsonValue const& value = Required(name);
    if (value.kind != JsonValue::Kind::String) throw ProtocolError(std::string("\"") + name + "\" must be a string");
    return value.text;
  }

  template <typename T>
  std::array<T, 3> Vector3(char const* name) const {
    return Vector3Of<T>(Required(name), name);
  }

  IdPairs Pairs(char const* name) const {
    IdPairs pairs;
    JsonValue const* value = Optional(name);
    if (value == nullptr) return pairs;
    if (value->kind != JsonValue::Kind::Array) throw ProtocolError(std::string("\"") + name + "\" must be an array of pairs");
    pairs.reserve(value->items.size());
    for (JsonValue const& item : value->items) {
      if (item.kind != JsonValue::Kind::Array || item.items.size() != 2)
        throw ProtocolError(std::string("\"") + name + "\" must be an array of pairs");
      pairs.emplace_back(U32Of(item.items[0], name), U32Of(item.items[1], name));
    }
    return pairs;
  }

  static double NumberOf(JsonValue const& value, char const* name) {
    if (value.kind != JsonValue::Kind::Number) throw ProtocolError(std::string("\"") + name + "\" must be a number");
    return value.number;
  }

  static uint32_t U32Of(JsonValue const& value, char const* name) {
    double const n = NumberOf(value, name);
    if (n < 0 || n > 4294967295.0 || n != std::floor(n))
      throw ProtocolError(std::string("\"") + name + "\" must be a whole number from 0 to 4294967295");
    return uint32_t(n);
  }

  template <typename T>
  static std::array<T, 3> Vector3Of(JsonValue const& value, char const* name) {
    if (value.kind != JsonValue::Kind::Array || value.items.size() != 3)
      throw ProtocolError(std::string("\"") + name + "\" must be an array of 3 numbers");
    std::array<T, 3> out{};
    for (size_t i = 0; i < 3; ++i) out[i] = T(NumberOf(value.items[i], name));
    return out;
  }

 private:
  JsonValue const& object_;
};

CameraMessage ParseCamera(Fields const& f) {
  CameraMessage m;
  m.camera.projection = f.Number("projection");
  auto const copy = [](std::array<double, 3> const& from, double* to) { std::copy(from.begin(), from.end(), to); };
  copy(f.Vector3<double>("position"), m.camera.position);
  copy(f.Vector3<double>("target"), m.camera.target);
  copy(f.Vector3<double>("up"), m.camera.up);
  m.camera.width = f.Number("width");
  m.camera.height = f.Number("height");
  if (f.Optional("aspect")) m.aspect = f.Number("aspect");
  if (f.Optional("screen_width")) m.screen_width = f.Number("screen_width");
  if (f.Optional("screen_height")) m.screen_height = f.Number("screen_height");
  return m;
}

AckMessage ParseAck(Fields const& f) {
  double const bytes = f.Number("bytes");
  if (bytes < 0 || bytes > 9007199254740992.0 || bytes != std::floor(bytes))
    throw ProtocolError("\"bytes\" must be a whole number of bytes");
  return {uint64_t(bytes)};
}

BudgetMessage ParseBudget(Fields const& f) {
  BudgetMessage m;
  if (f.Optional("mib")) m.mib = f.U32("mib");
  if (f.Optional("cutoff_scale")) m.cutoff_scale = float(f.Number("cutoff_scale"));
  if (f.Optional("mesh_level")) m.mesh_level = f.U32("mesh_level");
  if (!m.mib && !m.cutoff_scale && !m.mesh_level)
    throw ProtocolError("a budget message needs \"mib\", \"cutoff_scale\" or \"mesh_level\"");
  return m;
}

uint8_t Option(Fields const& f, char const* name) {
  JsonValue const* value = f.Optional(name);
  if (value == nullptr) return 0;
  if (value->kind != JsonValue::Kind::Bool) throw ProtocolError(std::string("\"") + name + "\" must be true or false");
  return value->boolean ? 1 : 0;
}

RequestMessage ParseRequest(Fields const& f) {
  RequestMessage m;
  std::string const& name = f.Text("kind");
  auto const kind = std::find_if(std::begin(kRequestKinds), std::end(kRequestKinds),
                                 [&](auto const& entry) { return entry.first == name; });
  if (kind == std::end(kRequestKinds)) throw ProtocolError("unknown request kind \"" + name + "\"");
  m.kind = kind->second;
  m.request_id = f.U32("request_id");
  if (m.request_id == 0) throw ProtocolError("\"request_id\" must not be 0");
  m.ids = f.Pairs("ids");
  m.incs = f.Pairs("incs");
  m.key_code = f.U32Or("key_code", 0);
  m.key_id = f.U32Or("key_id", 0);
  m.option_a = Option(f, "option_a");
  m.option_b = Option(f, "option_b");
  m.option_c = Option(f, "option_c");
  return m;
}

Store::PlaneSelectionCommand ParsePlanes(Fields const& f) {
  Store::PlaneSelectionCommand c;
  JsonValue const& planes = f.Required("planes");
  if (planes.kind != JsonValue::Kind::Array || planes.items.size() > kMaxPlanes)
    throw ProtocolError("\"planes\" must be an array of at most 64 planes");
  for (JsonValue const& plane : planes.items) {
    if (plane.kind != JsonValue::Kind::Array || plane.items.size() != 4)
      throw ProtocolError("each of \"planes\" must be an array of 4 numbers");
    Store::PlaneRowD row;
    for (size_t i = 0; i < 4; ++i) row[i] = Fields::NumberOf(plane.items[i], "planes");
    c.rows.push_back(row);
  }
  c.reference = f.Vector3<float>("reference");
  return c;
}

Store::RaySelectionCommand ParseRay(Fields const& f) {
  Store::RaySelectionCommand c;
  c.origin = f.Vector3<float>("origin");
  c.direction = f.Vector3<float>("direction");
  double const length = std::hypot(c.direction[0], c.direction[1], c.direction[2]);
  if (!(length > 0) || !std::isfinite(length)) throw ProtocolError("\"direction\" must not be zero");
  double const radius = f.Optional("radius") ? f.Number("radius") : 0.0;
  if (radius < 0) throw ProtocolError("\"radius\" must not be negative");
  c.rows = RayTubeRows(c.origin, c.direction, radius);
  return c;
}

Store::SphereSelectionCommand ParseSphere(Fields const& f) {
  Store::SphereSelectionCommand c;
  c.center = f.Vector3<float>("center");
  c.radius = float(f.Number("radius"));
  if (!(c.radius >= 0) || !std::isfinite(c.radius)) throw ProtocolError("\"radius\" must be a number of 0 or more");
  return c;
}

ClientMessage ParseSelect(Fields const& f) {
  std::string const& shape = f.Text("shape");
  uint32_t const request_id = f.U32("request_id");
  uint32_t const selection_id = f.U32("selection_id");
  uint32_t const flags = f.U32Or("flags", 0x1C);  // all three element classes
  auto finish = [&](auto command) -> ClientMessage {
    command.request_id = request_id;
    command.selection_id = selection_id;
    command.flags = flags;
    return command;
  };
  if (shape == "planes") return finish(ParsePlanes(f));
  if (shape == "ray") return finish(ParseRay(f));
  if (shape == "sphere") return finish(ParseSphere(f));
  throw ProtocolError("unknown selection shape \"" + shape + "\"");
}

ClientMessage ParseObject(Fields const& f) {
  std::string const& type = f.Text("type");
  if (type == "camera") return ParseCamera(f);
  if (type == "ack") return ParseAck(f);
  if (type == "budget") return ParseBudget(f);
  if (type == "request") return ParseRequest(f);
  if (type == "restart") return RestartMessage{};
  if (type == "detach") return DetachMessage{f.U32("inclusion_id"), f.U32Or("notice_id", 0)};
  if (type == "wanted") return WantedMessage{f.Bool("value")};
  if (type == "select") return ParseSelect(f);
  if (type == "next_results")
    return Store::NextResultsCommand{f.U32("request_id"), f.U32("selection_id"), f.U32("max_results")};
  if (type == "end_selection") return Store::EndSelectionCommand{f.U32("request_id"), f.U32("selection_id")};
  throw ProtocolError("unknown message type \"" + type + "\"");
}

}  // namespace

ClientMessage ParseClientMessage(std::string_view text) {
  JsonValue document;
  try {
    document = ParseJson(text);
  } catch (JsonError const& error) {
    throw ProtocolError(error.what());
  }
  if (document.kind != JsonValue::Kind::Object) throw ProtocolError("a message must be a JSON object");
  return ParseObject(Fields(document));
}

std::array<Store::PlaneRowD, 5> RayTubeRows(std::array<float, 3> const& origin,
                                            std::array<float, 3> const& direction, double radius) {
  std::array<double, 3> const o{origin[0], origin[1], origin[2]};
  double const length = std::hypot(double(direction[0]), double(direction[1]), double(direction[2]));
  std::array<double, 3> const d{direction[0] / length, direction[1] / length, direction[2] / length};
  // Two unit vectors across the ray: start from the axis least along it.
  std::array<double, 3> axis{0, 0, 0};
  int const least = std::fabs(d[0]) <= std::fabs(d[1]) ? (std::fabs(d[0]) <= std::fabs(d[2]) ? 0 : 2)
                                                        : (std::fabs(d[1]) <= std::fabs(d[2]) ? 1 : 2);
  axis[least] = 1;
  auto cross = [](std::array<double, 3> const& a, std::array<double, 3> const& b) {
    return std::array<double, 3>{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  };
  auto dot = [](std::array<double, 3> const& a, std::array<double, 3> const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  std::array<double, 3> u = cross(d, axis);
  double const ul = std::sqrt(dot(u, u));
  for (double& x : u) x /= ul;
  std::array<double, 3> const v = cross(d, u);
  // A side with inward normal n keeps points with n . (p - o) + radius >= 0.
  auto side = [&](std::array<double, 3> const& n) {
    return Store::PlaneRowD{n[0], n[1], n[2], radius - dot(n, o)};
  };
  return {Store::PlaneRowD{d[0], d[1], d[2], -dot(d, o)}, side(u), side({-u[0], -u[1], -u[2]}), side(v),
          side({-v[0], -v[1], -v[2]})};
}

}  // namespace QX::Server
