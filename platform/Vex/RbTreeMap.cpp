#include "Vex/RbTreeMap.h"

namespace Vex::Internal {

// The tree follows the classic red-black rules: the root is black, a red
// node has no red child, and every path from a node to a missing child
// passes the same number of black nodes. Missing children count as black.

void RbTreeCore::rotateLeft(RbTreeLink* x) noexcept {
   RbTreeLink* y = x->right_;
   x->right_ = y->left_;
   if (y->left_) y->left_->rbParentIs(x);
   y->rbParentIs(x->rbParent());
   if (!x->rbParent()) {
      root_ = y;
   } else if (x == x->rbParent()->left_) {
      x->rbParent()->left_ = y;
   } else {
      x->rbParent()->right_ = y;
   }
   y->left_ = x;
   x->rbParentIs(y);
}

void RbTreeCore::rotateRight(RbTreeLink* x) noexcept {
   RbTreeLink* y = x->left_;
   x->left_ = y->right_;
   if (y->right_) y->right_->rbParentIs(x);
   y->rbParentIs(x->rbParent());
   if (!x->rbParent()) {
      root_ = y;
   } else if (x == x->rbParent()->right_) {
      x->rbParent()->right_ = y;
   } else {
      x->rbParent()->left_ = y;
   }
   y->right_ = x;
   x->rbParentIs(y);
}

void RbTreeCore::insertAt(RbTreeLink* z, RbTreeLink* parent, bool left) noexcept {
   z->rbParentIs(parent);
   z->left_ = z->right_ = nullptr;
   z->rbRedIs(true);
   z->rbMemberIs(true);
   if (!parent) {
      root_ = z;
   } else if (left) {
      parent->left_ = z;
   } else {
      parent->right_ = z;
   }
   ++size_;
   ++version_;

   while (z->rbParent() && z->rbParent()->rbRed()) {
      RbTreeLink* p = z->rbParent();
      RbTreeLink* g = p->rbParent(); // exists: a red node is never the root
      if (p == g->left_) {
         RbTreeLink* u = g->right_;
         if (u && u->rbRed()) {
            p->rbRedIs(false);
            u->rbRedIs(false);
            g->rbRedIs(true);
            z = g;
         } else {
            if (z == p->right_) {
               rotateLeft(p);
               z = p;
               p = z->rbParent();
            }
            p->rbRedIs(false);
            g->rbRedIs(true);
            rotateRight(g);
         }
      } else {
         RbTreeLink* u = g->left_;
         if (u && u->rbRed()) {
            p->rbRedIs(false);
            u->rbRedIs(false);
            g->rbRedIs(true);
            z = g;
         } else {
            if (z == p->left_) {
               rotateRight(p);
               z = p;
               p = z->rbParent();
            }
            p->rbRedIs(false);
            g->rbRedIs(true);
            rotateLeft(g);
         }
      }
   }
   root_->rbRedIs(false);
}

void RbTreeCore::transplant(RbTreeLink* u, RbTreeLink* v) noexcept {
   if (!u->rbParent()) {
      root_ = v;
   } else if (u == u->rbParent()->left_) {
      u->rbParent()->left_ = v;
   } else {
      u->rbParent()->right_ = v;
   }
   if (v) v->rbParentIs(u->rbParent());
}

void RbTreeCore::erase(RbTreeLink* z) noexcept {
   RbTreeLink* x;
   RbTreeLink* xParent;
   bool removedBlack = !z->rbRed();
   if (!z->left_) {
      x = z->right_;
      xParent = z->rbParent();
      transplant(z, z->right_);
   } else if (!z->right_) {
      x = z->left_;
      xParent = z->rbParent();
      transplant(z, z->left_);
   } else {
      RbTreeLink* y = z->right_;
      while (y->left_)
         y = y->left_;
      removedBlack = !y->rbRed();
      x = y->right_;
      if (y->rbParent() == z) {
         xParent = y;
      } else {
         xParent = y->rbParent();
         transplant(y, y->right_);
         y->right_ = z->right_;
         y->right_->rbParentIs(y);
      }
      transplant(z, y);
      y->left_ = z->left_;
      y->left_->rbParentIs(y);
      y->rbRedIs(z->rbRed());
   }
   if (removedBlack) eraseFixup(x, xParent);
   z->left_ = z->right_ = nullptr;
   z->rbParentIs(nullptr);
   z->rbMemberIs(false);
   --size_;
   ++version_;
}

void RbTreeCore::eraseFixup(RbTreeLink* x, RbTreeLink* parent) noexcept {
   auto isRed = [](RbTreeLink const* n) { return n && n->rbRed(); };
   while (x != root_ && !isRed(x)) {
      if (x == parent->left_) {
         RbTreeLink* w = parent->right_;
         if (w->rbRed()) {
            w->rbRedIs(false);
            parent->rbRedIs(true);
            rotateLeft(parent);
            w = parent->right_;
         }
         if (!isRed(w->left_) && !isRed(w->right_)) {
            w->rbRedIs(true);
            x = parent;
            parent = x->rbParent();
         } else {
            if (!isRed(w->right_)) {
               w->left_->rbRedIs(false);
               w->rbRedIs(true);
               rotateRight(w);
               w = parent->right_;
            }
            w->rbRedIs(parent->rbRed());
            parent->rbRedIs(false);
            if (w->right_) w->right_->rbRedIs(false);
            rotateLeft(parent);
            x = root_;
         }
      } else {
         RbTreeLink* w = parent->left_;
         if (w->rbRed()) {
            w->rbRedIs(false);
            parent->rbRedIs(true);
            rotateRight(parent);
            w = parent->left_;
         }
         if (!isRed(w->right_) && !isRed(w->left_)) {
            w->rbRedIs(true);
            x = parent;
            parent = x->rbParent();
         } else {
            if (!isRed(w->left_)) {
               w->right_->rbRedIs(false);
               w->rbRedIs(true);
               rotateLeft(w);
               w = parent->left_;
            }
            w->rbRedIs(parent->rbRed());
            parent->rbRedIs(false);
            if (w->left_) w->left_->rbRedIs(false);
            rotateRight(parent);
            x = root_;
         }
      }
   }
   if (x) x->rbRedIs(false);
}

int RbTreeCore::verifyFrom(RbTreeLink const* n) noexcept {
   if (!n) return 1;
   if (n->rbRed() && ((n->left_ && n->left_->rbRed()) || (n->right_ && n->right_->rbRed()))) {
      return -1;
   }
   if ((n->left_ && n->left_->rbParent() != n) || (n->right_ && n->right_->rbParent() != n)) {
      return -1;
   }
   int l = verifyFrom(n->left_);
   int r = verifyFrom(n->right_);
   if (l < 0 || r < 0 || l != r) return -1;
   return l + (n->rbRed() ? 0 : 1);
}

int RbTreeCore::verify() const noexcept {
   if (root_ && (root_->rbRed() || root_->rbParent())) return -1;
   return verifyFrom(root_);
}

} // namespace Vex::Internal
