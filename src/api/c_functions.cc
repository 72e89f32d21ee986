#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include <quorvel/quorvel.h>
#include <quorvel/quorvel_c.h>

#include "api/component.h"
#include "api/factory.h"
#include "api/handle_table.h"
#include "api/quorvel_email_bundle.h"

namespace qv {

namespace {

using quorvel::Argument;
using quorvel::IQuorvelObject;
using quorvel::Kind;
using quorvel::Ref;
using quorvel::Status;
using quorvel::Value;

constexpr bool isSame(Status status, quorvel_status number) {
  return static_cast<quorvel_status>(status) == number;
}
static_assert(isSame(Status::ok, QUORVEL_OK) && isSame(Status::failed, QUORVEL_FAILED) &&
              isSame(Status::unknownClass, QUORVEL_UNKNOWN_CLASS) &&
              isSame(Status::unknownObject, QUORVEL_UNKNOWN_OBJECT) &&
              isSame(Status::unknownMember, QUORVEL_UNKNOWN_MEMBER) &&
              isSame(Status::wrongCount, QUORVEL_WRONG_COUNT) &&
              isSame(Status::wrongType, QUORVEL_WRONG_TYPE) &&
              isSame(Status::nullPointer, QUORVEL_NULL_POINTER) &&
              isSame(Status::noEvents, QUORVEL_NO_EVENTS) &&
              isSame(Status::outOfMemory, QUORVEL_OUT_OF_MEMORY));

/// Every C function that can run out of memory goes through here: nothing is thrown to the host.
template <typename Function>
quorvel_status guarded(Function function) noexcept {
  try {
    return static_cast<quorvel_status>(function());
  } catch (...) {
    return QUORVEL_OUT_OF_MEMORY;
  }
}

/// Runs `function` on an object, under its lock.
template <typename Function>
quorvel_status onObject(quorvel_object number, Function function) noexcept {
  return guarded([&] {
    const HandleUse use(number);
    if (!use) return Status::unknownObject;
    const std::lock_guard lock(use.lock());
    return function(*use.object());
  });
}

// The member list.

struct CLibrary {
  std::vector<std::vector<quorvel_parameter>> parameters;  // of each member
  std::vector<std::vector<quorvel_member>> members;        // of each interface
  std::vector<quorvel_interface> interfaces;
  std::vector<quorvel_class> classes;

  CLibrary() {
    for (const quorvel::InterfaceInfo& each : quorvel::interfaces()) add(each);
    for (const ClassInfo& each : qv::classes()) {
      classes.push_back({each.name.data(), each.progId.data(), each.interfaceName.data()});
    }
  }

  static quorvel_parameter asC(const quorvel::Parameter& parameter) {
    return {parameter.name.c_str(), static_cast<quorvel_type>(parameter.type),
            parameter.interfaceName.c_str()};
  }

  void add(const quorvel::InterfaceInfo& info) {
    std::vector<quorvel_member> list;
    for (const quorvel::Member& member : info.members) {
      std::vector<quorvel_parameter> its;
      for (const quorvel::Parameter& parameter : member.parameters) its.push_back(asC(parameter));
      list.push_back({.id = member.id,
                      .kind = static_cast<quorvel_kind>(member.kind),
                      .name = member.name.c_str(),
                      .interface_name = member.interfaceName.c_str(),
                      .parameters = its.data(),
                      .num_parameters = its.size(),
                      .result = asC(member.result),
                      .summary = member.summary.c_str()});
      parameters.push_back(std::move(its));  // moving keeps the elements where they are
    }
    interfaces.push_back({.name = info.name.c_str(),
                          .base = info.base.c_str(),
                          .members = list.data(),
                          .num_members = list.size(),
                          .num_inherited = info.numInherited});
    members.push_back(std::move(list));
  }
};

const CLibrary& library() {
  static const CLibrary* const instance = new CLibrary;
  return *instance;
}

/// One of its lists; none when memory runs out.
template <typename T>
const T* listOf(std::vector<T> CLibrary::*list, std::size_t* count) noexcept {
  const std::vector<T>* all = nullptr;
  guarded([&] {
    all = &(library().*list);
    return Status::ok;
  });
  if (count != nullptr) *count = all == nullptr ? 0 : all->size();
  return all == nullptr ? nullptr : all->data();
}

// Values.

std::string_view viewOf(const quorvel_value& value) {
  return value.data == nullptr ? std::string_view() : std::string_view(value.data, value.size);
}

/// What an argument stands for; the objects among them are used until the call is over.
Status takeArgument(const quorvel_value& value, std::vector<HandleUse>& uses, Argument& argument) {
  switch (value.type) {
    case QUORVEL_NOTHING:
      argument = std::monostate();
      return Status::ok;
    case QUORVEL_INTEGER:
      argument = value.number;
      return Status::ok;
    case QUORVEL_DATE:
      argument = value.date;
      return Status::ok;
    case QUORVEL_TEXT:
    case QUORVEL_BYTES:
      if (value.data == nullptr && value.size != 0) return Status::nullPointer;
      argument = viewOf(value);
      return Status::ok;
    case QUORVEL_OBJECT: {
      if (value.object == 0) {
        argument = std::monostate();
        return Status::ok;
      }
      HandleUse use(value.object);
      if (!use) return Status::unknownObject;
      argument = use.object();
      uses.push_back(std::move(use));
      return Status::ok;
    }
    default:
      return Status::wrongType;
  }
}

/// Moves a value to the host.
struct GiveValue {
  quorvel_value& out;

  void operator()(std::monostate) const { out.type = QUORVEL_NOTHING; }
  void operator()(std::int32_t number) const {
    out.type = QUORVEL_INTEGER;
    out.number = number;
  }
  void operator()(double date) const {
    out.type = QUORVEL_DATE;
    out.date = date;
  }
  void operator()(std::string& text) const {
    auto owned = std::make_unique<std::string>(std::move(text));
    out.type = QUORVEL_TEXT;
    out.data = owned->c_str();
    out.size = owned->size();
    out.owner = owned.release();
  }
  void operator()(quorvel::Bytes& bytes) const {
    std::string text(bytes.begin(), bytes.end());  // one sort of owner serves both
    (*this)(text);
    out.type = QUORVEL_BYTES;
  }
  void operator()(Ref<IQuorvelObject>& object) const {
    out.type = QUORVEL_OBJECT;
    out.object = handles::give(object);
  }
};

/// A host's C function as a sink.
class FunctionSink final : public quorvel::Implements<quorvel::IQuorvelOutgoing> {
 public:
  FunctionSink(quorvel_message_proc messageProc, void* context)
      : messageProc_(messageProc), context_(context) {}
  ~FunctionSink() override {
    if (dispose_ != nullptr) dispose_(context_);
  }
  void disposeWith(quorvel_dispose dispose) noexcept { dispose_ = dispose; }
  void MessageProc(std::int32_t senderID, std::int32_t messageID, std::int32_t param1,
                   std::int32_t param2) override {
    messageProc_(context_, senderID, messageID, param1, param2);
  }

 private:
  quorvel_message_proc messageProc_;
  void* context_;
  quorvel_dispose dispose_ = nullptr;
};

/// The e-mails that a call finds in its bundles, as far as the host has them too and they are not in use
/// already.
std::vector<HandleUse> unlockedEmails(const std::vector<HandleUse>& uses, std::int32_t id) {
  std::vector<HandleUse> emails;
  std::unordered_set<const quorvel::IQuorvelObject*> known;
  for (const HandleUse& use : uses) {
    const auto* bundle = dynamic_cast<const CQuorvelEmailBundle*>(use.object());
    if (bundle == nullptr || (&use == &uses.front() && !CQuorvelEmailBundle::readsEmails(id))) continue;
    if (known.empty()) {
      for (const HandleUse& other : uses) known.insert(other.object());
    }
    for (const PersistedEmail& entry : bundle->entries()) {
      if (!known.insert(entry.email.get()).second) continue;
      HandleUse email(entry.email.get());
      if (email) emails.push_back(std::move(email));
    }
  }
  return emails;
}

Status invokeUnderLocks(quorvel_object object, std::int32_t id, quorvel_kind kind,
                        std::span<const quorvel_value> values, quorvel_value* result) {
  std::vector<HandleUse> uses;
  uses.emplace_back(object);
  if (!uses.front()) return Status::unknownObject;
  std::vector<Argument> arguments(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Status status = takeArgument(values[i], uses, arguments[i]);
    if (status != Status::ok) return status;
  }

  Value value;
  Status status;
  for (;;) {
    std::vector<HandleUse> contained;
    {
      const LockTogether locks(uses);
      contained = unlockedEmails(uses, id);
      if (contained.empty()) {
        status = quorvel::invoke(*uses.front().object(), id, static_cast<Kind>(kind), arguments, value);
        break;
      }
    }
    std::move(contained.begin(), contained.end(), std::back_inserter(uses));
  }
  if (result != nullptr && (status == Status::ok || status == Status::failed)) {
    std::visit(GiveValue{*result}, value);
  }
  return status;
}

}  // namespace

}  // namespace qv

using quorvel::Status;
using qv::guarded;
using qv::onObject;

const char* quorvel_version(void) {
  return qv::component::kVersion.data();
}

quorvel_status quorvel_create(const char* name, quorvel_object* object) {
  return guarded([&] {
    if (name == nullptr || object == nullptr) return Status::nullPointer;
    *object = qv::handles::give(quorvel::create(name));
    return *object == 0 ? Status::unknownClass : Status::ok;
  });
}

quorvel_status quorvel_add_ref(quorvel_object object) {
  return guarded([&] { return qv::handles::addReference(object) ? Status::ok : Status::unknownObject; });
}

quorvel_status quorvel_release(quorvel_object object) {
  return guarded([&] { return qv::handles::release(object) ? Status::ok : Status::unknownObject; });
}

quorvel_status quorvel_class_name(quorvel_object object, const char** name) {
  return onObject(object, [&](quorvel::IQuorvelObject& its) {
    if (name == nullptr) return Status::nullPointer;
    *name = its.className().data();
    return Status::ok;
  });
}

const quorvel_interface* quorvel_interfaces(size_t* count) {
  return qv::listOf(&qv::CLibrary::interfaces, count);
}

const quorvel_class* quorvel_classes(size_t* count) {
  return qv::listOf(&qv::CLibrary::classes, count);
}

quorvel_status quorvel_members(quorvel_object object, const quorvel_member** members, size_t* count) {
  return onObject(object, [&](quorvel::IQuorvelObject& its) {
    if (members == nullptr || count == nullptr) return Status::nullPointer;
    const qv::ClassInfo* itsClass = qv::classOf(its);
    for (const quorvel_interface& each : qv::library().interfaces) {
      if (itsClass == nullptr || itsClass->interfaceName != each.name) continue;
      *members = each.members;
      *count = each.num_members;
      return Status::ok;
    }
    return Status::unknownObject;
  });
}

quorvel_status quorvel_id_of_name(quorvel_object object, const char* name, int32_t* id) {
  return onObject(object, [&](quorvel::IQuorvelObject& its) {
    if (name == nullptr || id == nullptr) return Status::nullPointer;
    *id = quorvel::idOfName(its, name);
    return *id == 0 ? Status::unknownMember : Status::ok;
  });
}

quorvel_status quorvel_invoke(quorvel_object object, int32_t id, quorvel_kind kind,
                              const quorvel_value* arguments, size_t num_arguments, quorvel_value* result) {
  return guarded([&] {
    if (result != nullptr) *result = quorvel_value{};
    if (arguments == nullptr && num_arguments != 0) return Status::nullPointer;
    return qv::invokeUnderLocks(object, id, kind, {arguments, num_arguments}, result);
  });
}

void quorvel_free_value(quorvel_value* value) {
  if (value == nullptr) return;
  delete static_cast<std::string*>(value->owner);
  if (value->type == QUORVEL_OBJECT && value->object != 0) quorvel_release(value->object);
  *value = quorvel_value{};
}

quorvel_status quorvel_connect(quorvel_object object, quorvel_message_proc message_proc, void* context,
                               quorvel_dispose dispose, int32_t* token) {
  return onObject(object, [&](quorvel::IQuorvelObject& its) {
    if (message_proc == nullptr || token == nullptr) return Status::nullPointer;
    const auto sink = quorvel::make<qv::FunctionSink>(message_proc, context);
    *token = quorvel::connect(its, quorvel::Ref<quorvel::IQuorvelOutgoing>(sink));
    if (*token == 0) return Status::noEvents;
    sink->disposeWith(dispose);
    return Status::ok;
  });
}

quorvel_status quorvel_disconnect(quorvel_object object, int32_t token) {
  return onObject(object, [&](quorvel::IQuorvelObject& its) {
    return quorvel::disconnect(its, token) ? Status::ok : Status::noEvents;
  });
}

quorvel_status quorvel_last_error(quorvel_error* error) {
  if (error == nullptr) return QUORVEL_NULL_POINTER;
  const quorvel::ErrorReport* report = qv::component::errorReport();
  *error = report == nullptr ? quorvel_error{"", 0, "", ""}
                             : quorvel_error{report->description.c_str(), report->description.size(),
                                             report->source.c_str(), report->interfaceName.c_str()};
  return QUORVEL_OK;
}

quorvel_status quorvel_set_certificate_root(const char* path) {
  return guarded([&] {
    if (path == nullptr) return Status::nullPointer;
    quorvel::setCertificateRoot(path);
    return Status::ok;
  });
}

int32_t quorvel_can_unload(void) {
  return quorvel::canUnload() ? 1 : 0;
}
