#include "Statedb/TreeCodec.h"

#include <string>
#include <vector>

namespace Statedb {

using Vex::AttrOp;
using Vex::AttrRow;
using Vex::Entity;
using Vex::GenericArgs;
using Vex::GenericValue;
using Vex::VexType;
using Out = Vex::Ptr<Vex::NboAttrLog::Out>;

namespace {

Vex::String str(std::uint64_t v) {
   return Vex::String(std::to_string(v));
}

void* objectOf(Entity const& e) {
   return static_cast<void*>(const_cast<Entity*>(&e));
}

/// Performs `op` on `row` of `e`; raises RecordError when the row refuses.
GenericValue rowOp(Entity const& e, AttrRow const& row, AttrOp op, GenericArgs args = {}) {
   GenericValue result;
   if (row.access == nullptr || row.access(op, objectOf(e), &result, args) != Vex::attrOpDone) {
      VexType const* t = e.fwkType();
      throw RecordError("Statedb: " + Vex::String(t ? t->name() : "Vex::Entity") + "::" + row.name +
                        " refuses the change");
   }
   return result;
}

VexType const& typeOf(Entity const& e) {
   VexType const* t = e.fwkType();
   return t ? *t : Entity::_vexType;
}

Vex::GenericIterator members(Entity const& e, AttrRow const& row) {
   VexType const& t = typeOf(e);
   if (t.iterator_ == nullptr) return {};
   return t.iterator_(objectOf(e), row);
}

bool replicated(AttrRow const& row) {
   return row.has(Vex::attrCollection) ||
          (row.has(Vex::attrSettable) && !row.has(Vex::attrIdentity));
}

void header(Out const& out, RecordOp op, std::uint32_t id, AttrRow const& row) {
   out->writeU8(static_cast<std::uint8_t>(op));
   out->writeU32(id);
   out->writeU32(row.number);
}

/// The member part of a member-set record.
void writeMember(Out const& out, AttrRow const& row, GenericValue const& key,
                 GenericValue const& value) {
   if (row.has(Vex::attrMapped)) {
      key.toLog(out);
      value.toLog(out);
   } else if (row.has(Vex::attrElements)) {
      value.toLog(out);
   } else {
      key.toLog(out);
   }
}

/// The arguments of a member's set, by the collection's kind.
std::vector<GenericValue> memberArgs(AttrRow const& row, GenericValue const& key,
                                     GenericValue const& value) {
   if (row.has(Vex::attrMapped)) return {key, value};
   if (row.has(Vex::attrElements)) return {value};
   return {key};
}

} // namespace

GenericValue rowGet(Entity const& entity, AttrRow const& row, GenericValue const* key) {
   if (key) return rowOp(entity, row, AttrOp::get, {key, 1});
   return rowOp(entity, row, AttrOp::get);
}

// --- TreeRecorder -------------------------------------------------------------

TreeRecorder::TreeRecorder(Vex::Ptr<Entity> const& root, std::function<void()> changed)
    : root_(root), changed_(std::move(changed)), out_(Vex::NboAttrLog::Out::OutIs()) {
   std::uint32_t const id = nextId_++;
   track(*root_, id);
   // Walk once to give every entity an id and an observer; nothing is written.
   Out scratch = Vex::NboAttrLog::Out::OutIs();
   contents(scratch, *root_, id, true);
}

TreeRecorder::~TreeRecorder() = default;

void TreeRecorder::take(std::vector<unsigned char>& to) {
   to.assign(out_->bytes().begin(), out_->bytes().end());
   out_->clear();
}

std::string TreeRecorder::childKey(std::uint32_t parent, AttrRow const& row,
                                   GenericValue const& key) const {
   Out o = Vex::NboAttrLog::Out::OutIs();
   o->writeU32(parent);
   o->writeU32(row.number);
   key.toLog(o);
   return std::string(o->bytes().begin(), o->bytes().end());
}

void TreeRecorder::track(Entity& entity, std::uint32_t id) {
   Tracked& t = tracked_[&entity];
   t.id = id;
   t.observer = typeOf(entity).notifiee_
                    ? typeOf(entity).notifiee_(Vex::Ptr<Entity>(&entity), *this)
                    : nullptr;
}

void TreeRecorder::untrack(Entity& entity) {
   auto it = tracked_.find(&entity);
   if (it == tracked_.end()) return;
   std::uint32_t const id = it->second.id;
   for (AttrRow const& row : typeOf(entity).attributes()) {
      if (!row.has(Vex::attrChildren)) continue;
      for (auto m = members(entity, row); m; ++m) {
         children_.erase(childKey(id, row, m.key()));
         if (Entity* c = m.value().entity()) untrack(*c);
      }
   }
   tracked_.erase(it);
}

void TreeRecorder::contents(Out const& out, Entity& entity, std::uint32_t id, bool trackNew) const {
   auto* self = const_cast<TreeRecorder*>(this);
   bool const counted = out.get() == out_.get();
   for (AttrRow const& row : typeOf(entity).attributes()) {
      if (!replicated(row)) continue;
      if (!row.has(Vex::attrCollection)) {
         header(out, RecordOp::attribute, id, row);
         rowGet(entity, row).toLog(out);
         if (counted) ++self->records_;
         continue;
      }
      for (auto m = members(entity, row); m; ++m) {
         if (!row.has(Vex::attrChildren)) {
            header(out, RecordOp::member, id, row);
            writeMember(out, row, m.key(), m.value());
            if (counted) ++self->records_;
            continue;
         }
         Entity* c = m.value().entity();
         if (c == nullptr) continue;
         std::uint32_t cid;
         if (trackNew) {
            cid = nextId_++;
            self->track(*c, cid);
            children_[childKey(id, row, m.key())] = c;
         } else {
            cid = tracked_.at(c).id;
         }
         header(out, RecordOp::child, id, row);
         m.key().toLog(out);
         out->writeU32(cid);
         if (counted) ++self->records_;
         contents(out, *c, cid, trackNew);
      }
   }
}

void TreeRecorder::onAttribute(Entity const& entity, AttrRow const& row, GenericValue const& key) {
   auto it = tracked_.find(&entity);
   if (it == tracked_.end() || !replicated(row)) return;
   std::uint32_t const id = it->second.id;
   Entity& e = const_cast<Entity&>(entity);
   if (!row.has(Vex::attrCollection)) {
      header(out_, RecordOp::attribute, id, row);
      rowGet(e, row).toLog(out_);
      ++records_;
   } else {
      bool const present = rowOp(e, row, AttrOp::has, {&key, 1}).value<bool>();
      if (row.has(Vex::attrChildren)) {
         std::string const ck = childKey(id, row, key);
         auto c = children_.find(ck);
         Entity* before = c == children_.end() ? nullptr : c->second;
         Entity* now = present ? rowGet(e, row, &key).entity() : nullptr;
         if (now == before) return; // announced again, nothing changed
         if (before) {
            header(out_, RecordOp::childDel, id, row);
            key.toLog(out_);
            ++records_;
            untrack(*before);
            children_.erase(ck);
         }
         if (now) {
            std::uint32_t const cid = nextId_++;
            header(out_, RecordOp::child, id, row);
            key.toLog(out_);
            out_->writeU32(cid);
            ++records_;
            track(*now, cid);
            children_[ck] = now;
            contents(out_, *now, cid, true);
         }
      } else if (present) {
         header(out_, RecordOp::member, id, row);
         writeMember(out_, row, key, rowGet(e, row, &key));
         ++records_;
      } else {
         header(out_, RecordOp::memberDel, id, row);
         key.toLog(out_);
         ++records_;
      }
   }
   if (changed_) changed_();
}

std::vector<unsigned char> TreeRecorder::snapshot() const {
   Out out = Vex::NboAttrLog::Out::OutIs();
   out->writeString(Vex::String(typeOf(*root_).name()));
   out->writeString(root_->name());
   std::uint32_t const id = tracked_.at(root_.get()).id;
   out->writeU32(id);
   contents(out, *root_, id, false);
   return out->bytes();
}

// --- TreeApplier --------------------------------------------------------------

struct TreeApplier::Op {
   RecordOp op;
   std::uint32_t id;
   AttrRow const* row;
   GenericValue key;
   GenericValue value;
   std::uint32_t childId = 0;
};

TreeApplier::TreeApplier(Vex::Ptr<Entity> const& root) : root_(root) {}

std::pair<Vex::String, Vex::String> TreeApplier::snapshotRoot(std::span<unsigned char const> body) {
   Vex::NboAttrLog::In in(body.data(), body.size());
   Vex::String type = in.nextString();
   Vex::String name = in.nextString();
   return {type, name};
}

void TreeApplier::registerEntity(std::uint32_t id, Entity* e) {
   byId_[id] = e;
   idOf_[e] = id;
}

void TreeApplier::forgetSubtree(Entity& e) {
   auto it = idOf_.find(&e);
   if (it != idOf_.end()) {
      byId_.erase(it->second);
      idOf_.erase(it);
   }
   for (AttrRow const& row : typeOf(e).attributes()) {
      if (!row.has(Vex::attrChildren)) continue;
      for (auto m = members(e, row); m; ++m) {
         if (Entity* c = m.value().entity()) forgetSubtree(*c);
      }
   }
}

TreeApplier::Op
TreeApplier::decode(Vex::NboAttrLog::In& in,
                    std::unordered_map<std::uint32_t, VexType const*> const& pending) const {
   Op op{};
   std::size_t const at = in.offset();
   unsigned const code = in.nextU8();
   if (code < 1 || code > 5) {
      throw RecordError("Statedb: unknown record operation " + str(code) + " at offset " + str(at));
   }
   op.op = static_cast<RecordOp>(code);
   op.id = in.nextU32();
   std::uint32_t const rowNumber = in.nextU32();
   VexType const* type = nullptr;
   if (auto it = byId_.find(op.id); it != byId_.end()) {
      type = &typeOf(*it->second);
   } else if (auto p = pending.find(op.id); p != pending.end()) {
      type = p->second;
   } else {
      throw RecordError("Statedb: record at offset " + str(at) + " names unknown entity " +
                        str(op.id));
   }
   op.row = type->attributeNumbered(rowNumber);
   bool const collection = op.row && op.row->has(Vex::attrCollection);
   bool const children = op.row && op.row->has(Vex::attrChildren);
   bool fits = false;
   switch (op.op) {
   case RecordOp::attribute:
      fits = op.row && !collection && replicated(*op.row);
      break;
   case RecordOp::child:
   case RecordOp::childDel:
      fits = children;
      break;
   case RecordOp::member:
   case RecordOp::memberDel:
      fits = collection && !children;
      break;
   }
   if (!fits || op.row->type == nullptr) {
      throw RecordError("Statedb: record at offset " + str(at) + " names row " + str(rowNumber) +
                        " of " + Vex::String(type->name()) + ", which it cannot change");
   }
   VexType const& member = op.row->type();
   switch (op.op) {
   case RecordOp::attribute:
      op.value = GenericValue::fromLog(member, in);
      break;
   case RecordOp::child:
      op.key = GenericValue::fromLog(op.row->keyType(), in);
      op.childId = in.nextU32();
      break;
   case RecordOp::childDel:
   case RecordOp::memberDel:
      op.key = GenericValue::fromLog(op.row->keyType(), in);
      break;
   case RecordOp::member:
      if (op.row->has(Vex::attrMapped)) {
         op.key = GenericValue::fromLog(op.row->keyType(), in);
         op.value = GenericValue::fromLog(member, in);
      } else if (op.row->has(Vex::attrElements)) {
         op.value = GenericValue::fromLog(member, in);
      } else {
         op.key = GenericValue::fromLog(op.row->keyType(), in);
      }
      break;
   }
   return op;
}

void TreeApplier::apply(Op& op) {
   auto it = byId_.find(op.id);
   if (it == byId_.end()) throw RecordError("Statedb: entity " + str(op.id) + " is gone");
   Entity& e = *it->second;
   AttrRow const& row = *op.row;
   switch (op.op) {
   case RecordOp::attribute:
      rowOp(e, row, AttrOp::set, {&op.value, 1});
      break;
   case RecordOp::child: {
      GenericValue child = rowOp(e, row, AttrOp::set, {&op.key, 1});
      if (child.entity() == nullptr) throw RecordError("Statedb: a child was not made");
      registerEntity(op.childId, child.entity());
      break;
   }
   case RecordOp::childDel: {
      GenericValue removed = rowOp(e, row, AttrOp::del, {&op.key, 1});
      if (Entity* c = removed.entity()) forgetSubtree(*c);
      break;
   }
   case RecordOp::member: {
      auto args = memberArgs(row, op.key, op.value);
      rowOp(e, row, AttrOp::set, args);
      break;
   }
   case RecordOp::memberDel:
      rowOp(e, row, AttrOp::del, {&op.key, 1});
      break;
   }
   ++records_;
}

void TreeApplier::applyRecords(Vex::NboAttrLog::In& in) {
   static std::unordered_map<std::uint32_t, VexType const*> const none;
   while (!in.atEnd()) {
      Op op = decode(in, none);
      apply(op);
   }
}

void TreeApplier::applyBatch(std::span<unsigned char const> body) {
   Vex::NboAttrLog::In in(body.data(), body.size());
   std::vector<Op> ops;
   std::unordered_map<std::uint32_t, VexType const*> pending;
   try {
      while (!in.atEnd()) {
         ops.push_back(decode(in, pending));
         if (ops.back().op == RecordOp::child)
            pending[ops.back().childId] = &ops.back().row->type();
      }
   } catch (RecordError const&) {
      throw;
   } catch (Vex::Exception const& e) {
      throw RecordError(Vex::String("Statedb: batch does not decode: ") + e.what());
   }
   for (Op& op : ops)
      apply(op);
}

void TreeApplier::applySnapshot(std::span<unsigned char const> body) {
   Vex::NboAttrLog::In in(body.data(), body.size());
   Vex::String const type = in.nextString();
   Vex::String const name = in.nextString();
   std::uint32_t const rootId = in.nextU32();
   VexType const& own = typeOf(*root_);
   if (type.view() != own.name()) {
      throw RecordError("Statedb: a snapshot of a " + type + " cannot be applied to a " +
                        Vex::String(own.name()));
   }
   // A root of the same type to build into: for a resynchronisation, or to
   // take a failed first snapshot back.
   auto emptyRoot = [&] {
      GenericValue r = Vex::construct(own, {GenericValue(Vex::Name(name))});
      return Vex::Ptr<Entity>(r.entity());
   };
   if (fresh_) {
      byId_.clear();
      idOf_.clear();
      registerEntity(rootId, root_.get());
      try {
         applyRecords(in);
      } catch (...) {
         TreeApplier empty(emptyRoot());
         byId_.clear();
         idOf_.clear();
         reconcile(*empty.root(), *root_, empty);
         throw;
      }
      fresh_ = false;
      return;
   }
   TreeApplier shadow(emptyRoot());
   shadow.applySnapshot(body);
   byId_.clear();
   idOf_.clear();
   reconcile(*shadow.root(), *root_, shadow);
}

void TreeApplier::reconcile(Entity& from, Entity& to, TreeApplier const& source) {
   if (auto it = source.idOf_.find(&from); it != source.idOf_.end()) {
      registerEntity(it->second, &to);
   }
   for (AttrRow const& row : typeOf(to).attributes()) {
      if (!replicated(row)) continue;
      if (!row.has(Vex::attrCollection)) {
         GenericValue v = rowGet(from, row);
         rowOp(to, row, AttrOp::set, {&v, 1});
         continue;
      }
      for (auto m = members(to, row); m; ++m) {
         if (!rowOp(from, row, AttrOp::has, {&m.key(), 1}).value<bool>()) {
            rowOp(to, row, AttrOp::del, {&m.key(), 1});
         }
      }
      for (auto m = members(from, row); m; ++m) {
         if (row.has(Vex::attrChildren)) {
            GenericValue child = rowOp(to, row, AttrOp::set, {&m.key(), 1});
            if (m.value().entity() && child.entity()) {
               reconcile(*m.value().entity(), *child.entity(), source);
            }
         } else {
            auto args = memberArgs(row, m.key(), m.value());
            rowOp(to, row, AttrOp::set, args);
         }
      }
   }
   ++records_;
}

// --- Comparison -----------------------------------------------------------------

bool sameTree(Entity const& a, Entity const& b, std::string* why) {
   auto differ = [&](std::string text) {
      if (why) *why = std::move(text);
      return false;
   };
   VexType const& ta = typeOf(a);
   if (&ta != &typeOf(b)) return differ("types differ");
   for (AttrRow const& row : ta.attributes()) {
      if (!replicated(row)) continue;
      std::string const where = Vex::entityFullName(a).c_str() + std::string("::") + row.name;
      if (!row.has(Vex::attrCollection)) {
         GenericValue va = rowGet(a, row), vb = rowGet(b, row);
         if (!(va == vb))
            return differ(where + ": " + va.text().c_str() + " != " + vb.text().c_str());
         continue;
      }
      auto ma = members(a, row), mb = members(b, row);
      if (ma.size() != mb.size()) {
         return differ(where + ": " + std::to_string(ma.size()) +
                       " members != " + std::to_string(mb.size()));
      }
      for (; ma; ++ma, ++mb) {
         if (!(ma.key() == mb.key())) {
            return differ(where + ": key " + ma.key().text().c_str() +
                          " != " + mb.key().text().c_str());
         }
         if (row.has(Vex::attrChildren)) {
            Entity const* ca = ma.value().entity();
            Entity const* cb = mb.value().entity();
            if (!ca || !cb) return differ(where + ": missing child");
            if (!sameTree(*ca, *cb, why)) return false;
         } else if (!(ma.value() == mb.value())) {
            return differ(where + "[" + ma.key().text().c_str() +
                          "]: " + ma.value().text().c_str() + " != " + mb.value().text().c_str());
         }
      }
   }
   return true;
}

void TreeObserver::follow(Vex::Entity const& entity) {
   Vex::GenericValue v(Vex::Ptr<Vex::Entity>(const_cast<Vex::Entity*>(&entity)));
   handles_.push_back(v.observe(*this));
   for (Vex::AttrRow const& row : v.type()->attributes()) {
      if (!row.has(Vex::attrChildren)) continue;
      for (auto m = v.iterate(row.name); m; ++m)
         follow(*m.value().entity());
   }
}

void TreeObserver::onAttribute(Vex::Entity const& entity, Vex::AttrRow const& row,
                               Vex::GenericValue const& key) {
   onTreeChange(entity, row, key);
   if (!row.has(Vex::attrChildren)) return;
   Vex::GenericValue present;
   row.access(Vex::AttrOp::has, const_cast<Vex::Entity*>(&entity), &present, {&key, 1});
   if (!present.value<bool>()) return;
   Vex::GenericValue const child = rowGet(entity, row, &key);
   if (child.entity()) follow(*child.entity());
}

} // namespace Statedb
