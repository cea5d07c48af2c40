#include "Vex/Reflect.h"

#include "Vex/Assert.h"
#include "Vex/Entity.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ReflectTable.h"
#include "Vex/ValueText.h"

#include <charconv>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Vex {

// --- Descriptors ------------------------------------------------------------

AttrRow const* VexType::attribute(std::string_view name) const noexcept {
   for (AttrRow const& row : attributes()) {
      if (name == row.name) return &row;
   }
   return nullptr;
}

AttrRow const* VexType::attributeNumbered(std::uint32_t number) const noexcept {
   for (AttrRow const& row : attributes()) {
      if (row.number == number) return &row;
   }
   return nullptr;
}

std::string_view Param::typeName() const noexcept {
   return type().name();
}

std::string AttrRow::paramsText() const {
   std::string text;
   for (Param const& p : params) {
      if (!text.empty()) text += ", ";
      text += p.typeName();
      text += ' ';
      text += p.name;
   }
   return text;
}

bool VexType::isA(VexType const& other) const noexcept {
   for (VexType const* t = this; t; t = t->base_) {
      if (t == &other) return true;
   }
   return false;
}

// --- The registry -------------------------------------------------------------

namespace {

// Registration happens while libraries load, one at a time; lookups may come
// from any thread afterwards, so the registry is guarded all the same.
struct Registry {
   std::mutex mutex;
   std::vector<VexType const*> order;
   std::unordered_map<std::string_view, VexType const*> byName;
};

Registry& registry() {
   static Registry* const r = new Registry; // never destroyed: lookups may outlive statics
   return *r;
}

} // namespace

void typeNodeIs(VexType const& type) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   auto [it, added] = r.byName.emplace(type.name(), &type);
   if (!added) {
      VEX_ASSERT(it->second == &type);
      return;
   }
   r.order.push_back(&type);
}

VexType const* typeByName(std::string_view name) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   auto it = r.byName.find(name);
   return it == r.byName.end() ? nullptr : it->second;
}

std::vector<VexType const*> registeredTypes() {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   return r.order;
}

// --- Generic values -----------------------------------------------------------

GenericValue::GenericValue(GenericValue const& other)
    : type_(other.type_),
      object_(other.object_ ? other.type_->methods_->copy(other.object_) : nullptr) {}

GenericValue::~GenericValue() {
   if (object_) type_->methods_->destroy(object_);
}

GenericValue::EntityRef GenericValue::entityObject(Entity const* e) noexcept {
   if (e == nullptr) return {nullptr, nullptr};
   VexType const* type = e->fwkType();
   return {type ? type : &Entity::_vexType, const_cast<Entity*>(e)};
}

GenericValue::GenericValue(EntityRef ref) noexcept : type_(ref.type), object_(ref.entity) {
   if (ref.entity) ref.entity->newRef();
}

Entity* GenericValue::entity() const noexcept {
   if (!object_ || type_->kind() != TypeKind::entity) return nullptr;
   return static_cast<Entity*>(object_);
}

void GenericValue::wrongType(VexType const& wanted) const {
   throw Exception("Vex: expected a value of " + String(wanted.name()) + ", got " +
                   (type_ ? String(type_->name()) : String("nothing")));
}

String GenericValue::text() const {
   if (!object_) return "None";
   return type_->methods_->toText(*type_, object_);
}

GenericValue GenericValue::fromText(VexType const& type, std::string_view text) {
   if (type.methods_ == nullptr || type.methods_->fromText == nullptr) {
      throw Exception("Vex: " + String(type.name()) + " cannot be read from text");
   }
   return GenericValue(type, type.methods_->fromText(type, text));
}

GenericValue GenericValue::fromLog(VexType const& type, NboAttrLog::In& in) {
   if (type.methods_ == nullptr || type.methods_->fromLog == nullptr) {
      throw Exception("Vex: " + String(type.name()) + " has no attribute-log encoding");
   }
   return GenericValue(type, type.methods_->fromLog(in));
}

void GenericValue::toLog(Ptr<NboAttrLog::Out> const& out) const {
   if (!object_ || type_->methods_->toLog == nullptr) {
      throw Exception("Vex: " + (type_ ? String(type_->name()) : String("nothing")) +
                      " has no attribute-log encoding");
   }
   type_->methods_->toLog(out, object_);
}

AttrRow const& GenericValue::row(std::string_view name) const {
   if (!type_) throw Exception("Vex: an empty value has no attribute '" + String(name) + "'");
   AttrRow const* row = type_->attribute(name);
   if (row == nullptr) {
      std::uint32_t number = 0;
      auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), number);
      if (ec == std::errc() && end == name.data() + name.size()) {
         row = type_->attributeNumbered(number);
      }
   }
   if (row == nullptr) {
      throw Exception("Vex: " + String(type_->name()) + " has no attribute '" + String(name) + "'");
   }
   return *row;
}

namespace {

char const* opName(AttrOp op) {
   switch (op) {
   case AttrOp::get:
      return "get";
   case AttrOp::set:
      return "set";
   case AttrOp::call:
      return "call";
   case AttrOp::del:
      return "del";
   case AttrOp::isNull:
      return "isNull";
   case AttrOp::add:
      return "add";
   case AttrOp::has:
      return "has";
   }
   return "?";
}

} // namespace

GenericValue GenericValue::op(AttrRow const& row, AttrOp op, GenericArgs args) const {
   if (!object_) throw Exception("Vex: '" + String(row.name) + "' of an empty value");
   if (type_->attributeOp_ == nullptr) {
      throw Exception("Vex: " + String(type_->name()) + " has no attribute operations");
   }
   GenericValue result;
   int status = type_->attributeOp_(&result, object_, &row, op, args);
   if (status == attrOpNotAllowed) {
      throw Exception("Vex: " + String(type_->name()) + "::" + row.name + " does not allow " +
                      opName(op));
   }
   if (status == attrOpUnknownRow) {
      throw Exception("Vex: " + String(type_->name()) + " has no attribute numbered " +
                      String(std::to_string(row.number)));
   }
   return result;
}

GenericIterator GenericValue::iterate(std::string_view attr) const {
   AttrRow const& r = row(attr);
   if (!r.has(attrCollection) || type_->iterator_ == nullptr) {
      throw Exception("Vex: " + String(type_->name()) + "::" + r.name + " is not a collection");
   }
   return type_->iterator_(object_, r);
}

std::unique_ptr<ObserverHandle> GenericValue::observe(GenericNotifiee& observer) const {
   Entity* e = entity();
   if (e == nullptr || type_->notifiee_ == nullptr) {
      throw Exception("Vex: " + (type_ ? String(type_->name()) : String("nothing")) +
                      " cannot be observed");
   }
   return type_->notifiee_(Ptr<Entity>(e), observer);
}

bool operator==(GenericValue const& a, GenericValue const& b) {
   if (a.type_ != b.type_) return false;
   if (!a.object_ || !b.object_) return a.object_ == b.object_;
   return a.type_->methods_->equal(a.object_, b.object_);
}

GenericValue construct(VexType const& type, std::vector<GenericValue> const& args) {
   if (type.constructFromCtorArgs_ == nullptr) {
      throw Exception("Vex: " + String(type.name()) + " cannot be constructed");
   }
   return type.constructFromCtorArgs_(args);
}

String entityFullName(Entity const& e) {
   String local = e.name();
   if (local.empty()) {
      // A keyed entity: its identity row gives the key.
      VexType const* type = e.fwkType();
      for (AttrRow const& row : type ? type->attributes() : std::span<AttrRow const>()) {
         if (row.has(attrIdentity)) {
            GenericValue key;
            row.access(AttrOp::get, const_cast<Entity*>(&e), &key, {});
            local = key.text();
            break;
         }
      }
   }
   if (e.parent() == nullptr) return local;
   return entityFullName(*e.parent()) + "/" + local;
}

// --- Row access shared by all entities ------------------------------------------

namespace Reflection {

void checkArgCount(GenericArgs args, std::size_t n) {
   if (args.size() != n) {
      throw Exception("Vex: expected " + String(std::to_string(n)) + " argument(s), got " +
                      String(std::to_string(args.size())));
   }
}

namespace {

Entity& entityAt(void* object) {
   return *static_cast<Entity*>(object);
}

} // namespace

int entityName(AttrOp op, void* object, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   store(result, entityAt(object).name());
   return attrOpDone;
}

int entityFullName(AttrOp op, void* object, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   store(result, Vex::entityFullName(entityAt(object)));
   return attrOpDone;
}

int entityParent(AttrOp op, void* object, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   *result = GenericValue(Ptr<Entity>(entityAt(object).parent()));
   return attrOpDone;
}

int entityParentAttrName(AttrOp op, void* object, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   // The parent's collection of children of this entity's type.
   Entity const& e = entityAt(object);
   String name;
   VexType const* own = e.fwkType();
   VexType const* parentType = e.parent() ? e.parent()->fwkType() : nullptr;
   for (AttrRow const& row : parentType ? parentType->attributes() : std::span<AttrRow const>()) {
      if (row.has(attrChildren) && row.type && &row.type() == own) {
         name = row.name;
         break;
      }
   }
   store(result, name);
   return attrOpDone;
}

int entityItself(AttrOp op, void* object, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   *result = GenericValue(Ptr<Entity>(&entityAt(object)));
   return attrOpDone;
}

Ptr<Entity> childAttrLogIs(Entity& parent, AttrRow const& row, NboAttrLog::In& in) {
   VexType const* type = parent.fwkType();
   AttrRow const* own = type ? type->attributeNumbered(row.number) : nullptr;
   if (own == nullptr || !own->has(attrChildren)) {
      throw Exception("Vex: " + String(type ? type->name() : "Vex::Entity") +
                      " has no children numbered " + String(std::to_string(row.number)));
   }
   GenericValue key = GenericValue::fromLog(own->keyType(), in);
   GenericValue child;
   own->access(AttrOp::set, &parent, &child, {&key, 1});
   return Ptr<Entity>(child.entity());
}

// --- Methods tables -------------------------------------------------------------

namespace {

void* entityCopy(void const* o) {
   Entity* e = static_cast<Entity*>(const_cast<void*>(o));
   e->newRef();
   return e;
}
void entityDestroy(void* o) {
   static_cast<Entity*>(o)->delRef();
}
String entityText(VexType const&, void const* o) {
   return Vex::entityFullName(*static_cast<Entity const*>(o));
}
bool entityEqual(void const* a, void const* b) {
   return a == b;
}

template <class U>
String enumText(VexType const& type, void const* o) {
   U const v = *static_cast<U const*>(o);
   AttrRow const* row = type.attributeNumbered(static_cast<std::uint32_t>(v));
   return row ? String(row->name) : String(std::to_string(v));
}

template <class U>
void* enumFromText(VexType const& type, std::string_view text) {
   AttrRow const* row = type.attribute(text);
   if (row) return new U(static_cast<U>(row->number));
   U v = 0;
   auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
   if (ec != std::errc() || end != text.data() + text.size() || text.empty()) {
      throw Exception(String(type.name()) + " has no enumerator named '" + String(text) + "'");
   }
   return new U(v);
}

} // namespace

GenericIfMethods const entityMethods{&entityCopy,  &entityDestroy, &entityText, nullptr,
                                     &entityEqual, nullptr,        nullptr};

template <class U>
GenericIfMethods const EnumMethods<U>::table{
    &ValueMethods<U>::copy,   &ValueMethods<U>::destroy, &enumText<U>,
    &enumFromText<U>,         &ValueMethods<U>::equal,   &ValueMethods<U>::toLog,
    &ValueMethods<U>::fromLog};
template struct EnumMethods<std::uint32_t>;
template struct EnumMethods<std::int32_t>;

} // namespace Reflection

// --- The framework's own descriptors ----------------------------------------------

namespace {
constexpr Param nameArgs[] = {{"name", &Reflection::typeFn<Name>}};
} // namespace

constinit VexType const Entity::_vexType{
    .name_ = "Vex::Entity",
    .kind_ = TypeKind::entity,
    .rows_ = Reflection::entityBaseRows,
    .ctorArgs_ = nameArgs,
    .sizeFlags_ = static_cast<std::uint32_t>(sizeof(Entity)) | typeRefCounted,
    .methods_ = &Reflection::entityMethods,
    .attributeOp_ = &Reflection::attributeOp<Entity>,
};

namespace {

// The scalars and strings: no attributes, one constructor argument, the value.
template <class T>
constexpr Param valueArg[] = {{"value", &Reflection::typeFn<T>}};

#define VEX_SCALAR_TYPE(var, T, text)                                                              \
   constinit VexType const var = valueDescriptor<T>(                                               \
       {.name = text, .ctorArgs = valueArg<T>, .construct = &Reflection::constructValue<T, T>});   \
   }                                                                                               \
   VexType const& vexTypeOf(T const*) {                                                            \
      return var;                                                                                  \
   }                                                                                               \
   namespace {

VEX_SCALAR_TYPE(boolType, bool, "bool")
VEX_SCALAR_TYPE(u8Type, std::uint8_t, "U8")
VEX_SCALAR_TYPE(u16Type, std::uint16_t, "U16")
VEX_SCALAR_TYPE(u32Type, std::uint32_t, "U32")
VEX_SCALAR_TYPE(u64Type, std::uint64_t, "U64")
VEX_SCALAR_TYPE(s32Type, std::int32_t, "S32")
VEX_SCALAR_TYPE(s64Type, std::int64_t, "S64")
VEX_SCALAR_TYPE(floatType, float, "float")
VEX_SCALAR_TYPE(doubleType, double, "double")
VEX_SCALAR_TYPE(stringType, String, "Vex::String")
VEX_SCALAR_TYPE(nameType, Name, "Vex::Name")

#undef VEX_SCALAR_TYPE

// Registers the framework's own types when libvex is loaded.
[[maybe_unused]] bool const registered = [] {
   for (VexType const* t : {&Entity::_vexType, &stringType, &nameType, &u64Type, &u32Type, &u16Type,
                            &u8Type, &s64Type, &s32Type, &boolType, &floatType, &doubleType}) {
      typeNodeIs(*t);
   }
   return true;
}();

} // namespace

} // namespace Vex
