// Statedb/TreeCodec.h: entity trees as attribute-log records, both ways.
//
// Works for any registered entity type through reflection (Vex/Reflect.h):
// no code is written per entity. Every entity of a published tree gets a
// number (its id, never reused while the writer runs; the root's is 1).
// A change becomes records, each naming the entity by id and the row by its
// attribute number:
//
//   | op | record                                  | what the reader does        |
//   |----|-----------------------------------------|-----------------------------|
//   | 1  | attribute: id, row, value               | the entity's setter         |
//   | 2  | child: id, row, key, child id           | xIs(key), then the child's  |
//   |    |                                         | contents follow as records  |
//   | 3  | child deleted: id, row, key             | xDel(key)                   |
//   | 4  | member set: id, row, then the key and   | xIs(key, value), xIs(elem)  |
//   |    | value (a map), the element (values     | or xIs(key)                 |
//   |    | keyed by themselves) or the key (a set) |                             |
//   | 5  | member deleted: id, row, key            | xDel(key)                   |
//
// ids and rows are u32, op is u8; keys and values use their types'
// attribute-log encodings (Vex/NboAttrLog.h). Delete-all reaches the log as
// one member-deleted record per member, in the order the collection deleted
// them, which is what its observers heard.
//
// A batch body is records. A snapshot body is the root's type name and name
// (Vex::String each), the root's id, then the records that build the tree
// from an empty root.
//
// TreeRecorder (writer side) observes a tree and appends a record for every
// change; TreeApplier (reader side) applies batches all or nothing, and
// snapshots either onto a fresh root or, for a root that already holds a
// tree (a resynchronisation), as the difference between the two, so that
// observers hear only what changed.
#pragma once

#include "Vex/Entity.h"
#include "Vex/NboAttrLog.h"
#include "Vex/Reflect.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace Statedb {

enum class RecordOp : std::uint8_t {
   attribute = 1,
   child = 2,
   childDel = 3,
   member = 4,
   memberDel = 5,
};

/// A batch or snapshot that cannot be applied (unknown id, row or type, a
/// value that does not decode); nothing of it was applied.
class RecordError : public Vex::Exception {
 public:
   using Vex::Exception::Exception;
};

/// Observes a tree and turns each change into records appended to out().
/// After the records of one observer callback it calls `changed` (the
/// publisher closes an implicit batch there).
class TreeRecorder : private Vex::GenericNotifiee {
 public:
   TreeRecorder(Vex::Ptr<Vex::Entity> const& root, std::function<void()> changed);
   ~TreeRecorder() override;
   TreeRecorder(TreeRecorder const&) = delete;
   TreeRecorder& operator=(TreeRecorder const&) = delete;

   Vex::Ptr<Vex::Entity> const& root() const noexcept { return root_; }
   /// The records since the last take.
   Vex::Ptr<Vex::NboAttrLog::Out> const& out() const noexcept { return out_; }
   std::size_t recordCount() const noexcept { return records_; }
   /// Hands back the records so far and starts anew.
   void take(std::vector<unsigned char>& to);

   /// A snapshot body of the whole tree, with the current ids.
   std::vector<unsigned char> snapshot() const;
   /// The number of entities in the tree.
   std::size_t entityCount() const noexcept { return tracked_.size(); }

 private:
   struct Tracked {
      std::uint32_t id;
      std::unique_ptr<Vex::ObserverHandle> observer;
   };
   void onAttribute(Vex::Entity const& entity, Vex::AttrRow const& row,
                    Vex::GenericValue const& key) override;
   void track(Vex::Entity& entity, std::uint32_t id);
   void untrack(Vex::Entity& entity);
   /// Writes `entity`'s contents; children get new ids and observers when
   /// `track` is set, or their current ids when it is not.
   void contents(Vex::Ptr<Vex::NboAttrLog::Out> const& out, Vex::Entity& entity, std::uint32_t id,
                 bool track) const;
   std::string childKey(std::uint32_t parent, Vex::AttrRow const& row,
                        Vex::GenericValue const& key) const;

   Vex::Ptr<Vex::Entity> root_;
   std::function<void()> changed_;
   Vex::Ptr<Vex::NboAttrLog::Out> out_;
   std::size_t records_ = 0;
   mutable std::uint32_t nextId_ = 1;
   mutable std::unordered_map<Vex::Entity const*, Tracked> tracked_;
   // (parent id, row, encoded key) -> child, to find a deleted child.
   mutable std::unordered_map<std::string, Vex::Entity*> children_;
};

/// Applies records to a mirror tree through the entities' own setters and
/// collection operations.
class TreeApplier {
 public:
   /// Applies onto `root`, whose type and name snapshots must carry.
   explicit TreeApplier(Vex::Ptr<Vex::Entity> const& root);

   Vex::Ptr<Vex::Entity> const& root() const noexcept { return root_; }
   /// Applies a snapshot body: onto the root directly the first time, as the
   /// difference with the current tree afterwards. Raises RecordError (or the
   /// framework's Vex::Exception) and leaves the tree as it was when the
   /// snapshot does not decode.
   void applySnapshot(std::span<unsigned char const> body);
   /// Applies a batch body all or nothing: every record is decoded and
   /// checked before the first is applied. Raises RecordError when one does
   /// not decode; nothing is applied then.
   void applyBatch(std::span<unsigned char const> body);
   /// Records applied so far.
   std::uint64_t recordCount() const noexcept { return records_; }
   std::size_t entityCount() const noexcept { return byId_.size(); }

   /// Reads a snapshot body's root type name and name.
   static std::pair<Vex::String, Vex::String> snapshotRoot(std::span<unsigned char const> body);

 private:
   struct Op;
   Op decode(Vex::NboAttrLog::In& in,
             std::unordered_map<std::uint32_t, Vex::VexType const*> const& pending) const;
   void apply(Op& op);
   void applyRecords(Vex::NboAttrLog::In& in);
   void registerEntity(std::uint32_t id, Vex::Entity* e);
   void forgetSubtree(Vex::Entity& e);
   void reconcile(Vex::Entity& from, Vex::Entity& to, TreeApplier const& source);

   Vex::Ptr<Vex::Entity> root_;
   bool fresh_ = true;
   std::uint64_t records_ = 0;
   std::unordered_map<std::uint32_t, Vex::Entity*> byId_;
   std::unordered_map<Vex::Entity const*, std::uint32_t> idOf_;
};

/// The row's current value (an attribute) or member keyed `key` (a
/// collection) of `entity`, through reflection.
Vex::GenericValue rowGet(Vex::Entity const& entity, Vex::AttrRow const& row,
                         Vex::GenericValue const* key = nullptr);

/// Every settable attribute and collection member of two trees is equal, by
/// a reflection walk; the first difference is described in `why`.
bool sameTree(Vex::Entity const& a, Vex::Entity const& b, std::string* why = nullptr);

/// Observes every entity of a tree, following children as they are created,
/// and hands each callback to onTreeChange(): what a reader of the whole tree (a
/// watcher, a test) needs without tracking ids as TreeRecorder does. A new
/// child's own callbacks come after onTreeChange() has seen its creation.
class TreeObserver : public Vex::GenericNotifiee {
 public:
   explicit TreeObserver(Vex::Entity const& root) { follow(root); }

 protected:
   virtual void onTreeChange(Vex::Entity const& entity, Vex::AttrRow const& row,
                             Vex::GenericValue const& key) = 0;

 private:
   void onAttribute(Vex::Entity const& entity, Vex::AttrRow const& row,
                    Vex::GenericValue const& key) final;
   void follow(Vex::Entity const& entity);
   std::vector<std::unique_ptr<Vex::ObserverHandle>> handles_;
};

} // namespace Statedb
