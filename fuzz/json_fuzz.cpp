// Edits and look-ups through `JsonObject` beside a model, a tree of plain containers that knows nothing of the JSON
// library: results, errors and documents are the same after every step.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/json/json_object.h"
#include "fuzz/require.h"

// Thrown where the library throws its own exceptions.
struct WrongKind {};

// A value. Keys and texts hold nothing that JSON would escape.
struct Node {
  enum Kind { kNull, kText, kArray, kObject };
  Kind kind = kNull;
  std::string text;
  std::map<size_t, Node> elements;  // Without those that an array has grown over, which show as null.
  std::map<std::string, Node> members;

  size_t ElementCount() const { return elements.empty() ? 0 : elements.rbegin()->first + 1; }

  // Later elements move down, and exist from then on.
  bool RemoveElement(size_t index) {
    if (elements.count(index) == 0) return false;
    const size_t last = ElementCount() - 1;
    for (size_t i = index; i < last; ++i) elements[i] = Node(elements[i + 1]);
    elements.erase(last);
    return true;
  }

  static Node Text(const std::string& text) {
    Node node;
    node.kind = kText;
    node.text = text;
    return node;
  }

  std::string ToText() const {
    std::string list;
    switch (kind) {
      case kNull:
        return "null";
      case kText:
        return "\"" + text + "\"";
      case kArray:
        for (size_t i = 0; i < ElementCount(); ++i) {
          const auto element = elements.find(i);
          list += (i == 0 ? "" : ",") + (element != elements.end() ? element->second.ToText() : "null");
        }
        return "[" + list + "]";
      case kObject:
        for (const auto& [key, value] : members) list += (list.empty() ? "\"" : ",\"") + key + "\":" + value.ToText();
        return "{" + list + "}";
    }
    return "";
  }

  // A null value becomes one of this kind; any other has to be of it.
  void Become(Kind wanted) {
    if (kind == kNull) kind = wanted;
    if (kind != wanted) throw WrongKind();
  }

  Node* Find(const std::string& path) {
    Node* current = this;
    size_t start = 0;
    while (start <= path.size()) {
      const size_t end = std::min(path.find('/', start), path.size());
      const std::string member = path.substr(start, end - start);
      start = end + 1;
      if (member.empty()) continue;
      if (current->kind != kNull && current->kind != kObject) throw WrongKind();
      const auto found = current->members.find(member);
      if (found == current->members.end()) return nullptr;
      current = &found->second;
    }
    return current;
  }
};

// A place in the document, and in its model.
struct Place {
  std::unique_ptr<JsonObject> view;
  Node* node;
};

// Walks down from the root, until the input says that it is far enough.
static Place Walk(JsonObject& document, Node& model, FuzzedDataProvider& input) {
  Place place = {std::make_unique<JsonObject>(document.Copy()), &model};
  while (input.ConsumeBool()) {
    Node& node = *place.node;
    if (node.kind == Node::kArray && !node.elements.empty()) {
      const auto index = input.ConsumeIntegralInRange<size_t>(0, node.ElementCount() - 1);
      place.view = std::make_unique<JsonObject>((*place.view)[static_cast<int>(index)]);
      place.node = &node.elements[index];
    } else if (node.kind == Node::kObject && !node.members.empty()) {
      const auto index = input.ConsumeIntegralInRange<size_t>(0, node.members.size() - 1);
      const auto member = std::next(node.members.begin(), static_cast<std::ptrdiff_t>(index));
      place.view = std::make_unique<JsonObject>((*place.view)[member->first.c_str()]);
      place.node = &member->second;
    } else {
      break;
    }
  }
  return place;
}

// What a step comes to: its answer, or what it throws.
template <typename Step>
static std::string OutcomeOf(const Step& step) {
  try {
    return step();
  } catch (AERROR error) {
    return "throws " + std::to_string(static_cast<int>(error));
  } catch (const Json::LogicError&) {
    return "throws, because of the kind";
  } catch (const WrongKind&) {
    return "throws, because of the kind";
  }
}

static std::string Truth(bool value) { return value ? "true" : "false"; }

// One step, done to both and compared.
static void DoStep(JsonObject& document, Node& model, FuzzedDataProvider& input) {
  static const char* const kKeys[] = {"", "a", "b", "0", "a/b", "long key"};
  static const char* const kPaths[] = {"", "a", "/a//b", "b/a/", "a/b/0", "0", "long key", "//", "a/a/a"};
  static const char* const kTexts[] = {"", "t", "{}", "text"};
  const char* const key = input.PickValueInArray(kKeys);
  const std::string path = input.PickValueInArray(kPaths);
  const std::string text = input.PickValueInArray(kTexts);
  const std::wstring wide(text.begin(), text.end());
  const auto index = input.ConsumeIntegralInRange<int>(-2, 6);
  const auto step = input.ConsumeIntegralInRange<int>(0, 13);

  const Place place = Walk(document, model, input);
  const Place other = Walk(document, model, input);
  JsonObject& view = *place.view;
  Node& node = *place.node;
  const Node copy = *other.node;
  const auto append = [&node](const Node& element) {
    node.Become(Node::kArray);
    node.elements[node.ElementCount()] = element;
    return Truth(true);
  };
  const auto insert = [&node, key](const Node& value) {
    node.Become(Node::kObject);
    node.members[key] = value;
    return Truth(true);
  };

  std::string ours;
  std::string expected;
  switch (step) {
    case 0:
      ours = OutcomeOf([&] { return Truth(view.Insert(key, *other.view)); });
      expected = OutcomeOf([&] { return insert(copy); });
      break;
    case 1:
      ours = OutcomeOf([&] { return Truth(view.Insert(key, wide)); });
      expected = OutcomeOf([&] { return insert(Node::Text(text)); });
      break;
    case 2:
      ours = OutcomeOf([&] { return Truth(view.InsertArrayItem(text)); });
      expected = OutcomeOf([&] { return append(Node::Text(text)); });
      break;
    case 3:
      ours = OutcomeOf([&] { return Truth(view.InsertArrayItem(*other.view)); });
      expected = OutcomeOf([&] { return append(copy); });
      break;
    case 4:
      ours = OutcomeOf([&] { return Truth(view.RemoveArrayItem(static_cast<unsigned long>(index))); });
      expected = Truth(index >= 0 && node.RemoveElement(static_cast<size_t>(index)));
      break;
    case 5:
      ours = OutcomeOf([&] { return Truth(view.Remove(key)); });
      expected = Truth(node.members.erase(key) == 1);
      break;
    case 6:
      ours = OutcomeOf([&] { return view[key].ToText(); });
      expected = OutcomeOf([&] {
        node.Become(Node::kObject);
        return node.members[key].ToText();
      });
      break;
    case 7:
      ours = OutcomeOf([&] { return view[index].ToText(); });
      expected = OutcomeOf([&] {
        if (index < 0) throw WrongKind();
        node.Become(Node::kArray);
        return node.elements[static_cast<size_t>(index)].ToText();
      });
      break;
    case 8:
      view = text;
      node = Node::Text(text);
      break;
    case 9:
      view = *other.view;
      node = copy;
      break;
    case 10:
      ours = OutcomeOf([&] { return Truth(view.HasObject(path.c_str())); });
      expected = OutcomeOf([&] { return Truth(node.Find(path) != nullptr); });
      break;
    case 11:
      ours = OutcomeOf([&] { return view.GetObject(path.c_str()).ToText(); });
      expected = OutcomeOf([&] {
        const Node* const found = node.Find(path);
        if (found == nullptr) throw AERROR_PATH_NOT_FOUND;
        return found->ToText();
      });
      break;
    case 12: {
      ours = OutcomeOf([&] {
        std::string keys;
        for (const std::string& member : view.GetKeys()) keys += member + ",";
        return keys + std::to_string(view.GetArraySize()) + Truth(view.IsValid()) + Truth(view.IsArray());
      });
      expected = OutcomeOf([&] {
        if (node.kind != Node::kNull && node.kind != Node::kObject) throw WrongKind();
        std::string keys;
        for (const auto& member : node.members) keys += member.first + ",";
        return keys + std::to_string(node.members.size()) + Truth(node.kind != Node::kNull) + Truth(false);
      });
      break;
    }
    default:
      // A document that is not null makes the view a document of its own; null is written through it.
      view = document;
      view = text;
      if (model.kind == Node::kNull) node = Node::Text(text);
      ours = view.ToText();
      expected = Node::Text(text).ToText();
      break;
  }
  Require(ours == expected, "step " + std::to_string(step) + " comes to " + expected + ", not " + ours);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kLargestDocument = 20000;  // A document that is put into itself doubles.
  FuzzedDataProvider input(data, size);
  const char* const no_text = nullptr;
  JsonObject document(no_text);
  Node model;
  while (input.remaining_bytes() > 0) {
    DoStep(document, model, input);
    const std::string expected = model.ToText();
    Require(document.ToText() == expected, "the document is " + expected + ", not " + document.ToText());
    if (expected.size() > kLargestDocument) break;
  }
  return 0;
}
