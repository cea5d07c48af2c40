#include "Vex/RbTreeMap.h"

namespace Vex::Internal {

// The tree follows the classic red-black rules: the root is black, a red
// node has no red child, and every path from a node to a missing child
// passes the same number of black nodes. Missing children count as black.

void RbTreeCore::rotateLeft(RbTreeLink* x) noexcept {
   RbTreeLink* y = x->right_;
   x->right_ = y->left_;
   if (y->left_) y->left_->parent_ = x;
   y->parent_ = x->parent_;
   if (!x->parent_) {
      root_ = y;
   } else if (x == x->parent_->left_) {
      x->parent_->left_ = y;
   } else {
      x->parent_->right_ = y;
   }
   y->left_ = x;
   x->parent_ = y;
}

void RbTreeCore::rotateRight(RbTreeLink* x) noexcept {
   RbTreeLink* y = x->left_;
   x->left_ = y->right_;
   if (y->right_) y->right_->parent_ = x;
   y->parent_ = x->parent_;
   if (!x->parent_) {
      root_ = y;
   } else if (x == x->parent_->right_) {
      x->parent_->right_ = y;
   } else {
      x->parent_->left_ = y;
   }
   y->right_ = x;
   x->parent_ = y;
}

void RbTreeCore::insertAt(RbTreeLink* z, RbTreeLink* parent, bool left) noexcept {
   z->parent_ = parent;
   z->left_ = z->right_ = nullptr;
   z->red_ = true;
   z->member_ = true;
   if (!parent) {
      root_ = z;
   } else if (left) {
      parent->left_ = z;
   } else {
      parent->right_ = z;
   }
   ++size_;
   ++version_;

   while (z->parent_ && z->parent_->red_) {
      RbTreeLink* p = z->parent_;
      RbTreeLink* g = p->parent_; // exists: a red node is never the root
      if (p == g->left_) {
         RbTreeLink* u = g->right_;
         if (u && u->red_) {
            p->red_ = u->red_ = false;
            g->red_ = true;
            z = g;
         } else {
            if (z == p->right_) {
               rotateLeft(p);
               z = p;
               p = z->parent_;
            }
            p->red_ = false;
            g->red_ = true;
            rotateRight(g);
         }
      } else {
         RbTreeLink* u = g->left_;
         if (u && u->red_) {
            p->red_ = u->red_ = false;
            g->red_ = true;
            z = g;
         } else {
            if (z == p->left_) {
               rotateRight(p);
               z = p;
               p = z->parent_;
            }
            p->red_ = false;
            g->red_ = true;
            rotateLeft(g);
         }
      }
   }
   root_->red_ = false;
}

void RbTreeCore::transplant(RbTreeLink* u, RbTreeLink* v) noexcept {
   if (!u->parent_) {
      root_ = v;
   } else if (u == u->parent_->left_) {
      u->parent_->left_ = v;
   } else {
      u->parent_->right_ = v;
   }
   if (v) v->parent_ = u->parent_;
}

void RbTreeCore::erase(RbTreeLink* z) noexcept {
   RbTreeLink* x;
   RbTreeLink* xParent;
   bool removedBlack = !z->red_;
   if (!z->left_) {
      x = z->right_;
      xParent = z->parent_;
      transplant(z, z->right_);
   } else if (!z->right_) {
      x = z->left_;
      xParent = z->parent_;
      transplant(z, z->left_);
   } else {
      RbTreeLink* y = z->right_;
      while (y->left_)
         y = y->left_;
      removedBlack = !y->red_;
      x = y->right_;
      if (y->parent_ == z) {
         xParent = y;
      } else {
         xParent = y->parent_;
         transplant(y, y->right_);
         y->right_ = z->right_;
         y->right_->parent_ = y;
      }
      transplant(z, y);
      y->left_ = z->left_;
      y->left_->parent_ = y;
      y->red_ = z->red_;
   }
   if (removedBlack) eraseFixup(x, xParent);
   z->parent_ = z->left_ = z->right_ = nullptr;
   z->member_ = false;
   --size_;
   ++version_;
}

void RbTreeCore::eraseFixup(RbTreeLink* x, RbTreeLink* parent) noexcept {
   auto isRed = [](RbTreeLink const* n) { return n && n->red_; };
   while (x != root_ && !isRed(x)) {
      if (x == parent->left_) {
         RbTreeLink* w = parent->right_;
         if (w->red_) {
            w->red_ = false;
            parent->red_ = true;
            rotateLeft(parent);
            w = parent->right_;
         }
         if (!isRed(w->left_) && !isRed(w->right_)) {
            w->red_ = true;
            x = parent;
            parent = x->parent_;
         } else {
            if (!isRed(w->right_)) {
               w->left_->red_ = false;
               w->red_ = true;
               rotateRight(w);
               w = parent->right_;
            }
            w->red_ = parent->red_;
            parent->red_ = false;
            if (w->right_) w->right_->red_ = false;
            rotateLeft(parent);
            x = root_;
         }
      } else {
         RbTreeLink* w = parent->left_;
         if (w->red_) {
            w->red_ = false;
            parent->red_ = true;
            rotateRight(parent);
            w = parent->left_;
         }
         if (!isRed(w->right_) && !isRed(w->left_)) {
            w->red_ = true;
            x = parent;
            parent = x->parent_;
         } else {
            if (!isRed(w->left_)) {
               w->right_->red_ = false;
               w->red_ = true;
               rotateLeft(w);
               w = parent->left_;
            }
            w->red_ = parent->red_;
            parent->red_ = false;
            if (w->left_) w->left_->red_ = false;
            rotateRight(parent);
            x = root_;
         }
      }
   }
   if (x) x->red_ = false;
}

int RbTreeCore::verifyFrom(RbTreeLink const* n) noexcept {
   if (!n) return 1;
   if (n->red_ && ((n->left_ && n->left_->red_) || (n->right_ && n->right_->red_))) {
      return -1;
   }
   if ((n->left_ && n->left_->parent_ != n) || (n->right_ && n->right_->parent_ != n)) {
      return -1;
   }
   int l = verifyFrom(n->left_);
   int r = verifyFrom(n->right_);
   if (l < 0 || r < 0 || l != r) return -1;
   return l + (n->red_ ? 0 : 1);
}

int RbTreeCore::verify() const noexcept {
   if (root_ && (root_->red_ || root_->parent_)) return -1;
   return verifyFrom(root_);
}

} // namespace Vex::Internal
