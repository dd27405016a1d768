#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "FlatHashMap.hpp"
#include "NodePool.hpp"

namespace modeltools {
namespace ops {
class IrOp;
}

// The execution order of a graph's ops. Rewrites insert, move and remove ops at positions
// all the time, so every positional operation here is logarithmic (an implicit treap with
// parent links, plus a map from op to its node). Each op stands at most once.
class OpSequence {
  struct Node;

 public:
  using OpPtr = std::shared_ptr<ops::IrOp>;
  static constexpr size_t npos = static_cast<size_t>(-1);

  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = OpPtr;
    using difference_type = std::ptrdiff_t;
    using pointer = const OpPtr*;
    using reference = const OpPtr&;

    const_iterator() = default;
    reference operator*() const;
    pointer operator->() const { return &**this; }
    const_iterator& operator++();
    const_iterator operator++(int) {
      auto copy = *this;
      ++*this;
      return copy;
    }
    bool operator==(const const_iterator& other) const { return node_ == other.node_; }

   private:
    friend class OpSequence;
    explicit const_iterator(const Node* node) : node_(node) {}
    const Node* node_ = nullptr;
  };

  OpSequence();
  ~OpSequence();
  OpSequence(const OpSequence&) = delete;
  OpSequence& operator=(const OpSequence&) = delete;

  size_t size() const;
  bool empty() const { return size() == 0; }
  const_iterator begin() const;
  const_iterator end() const { return const_iterator(); }
  const OpPtr& front() const { return at(0); }
  const OpPtr& back() const { return at(size() - 1); }

  const OpPtr& at(size_t index) const;
  // The position of the op, or npos.
  size_t indexOf(const ops::IrOp* op) const;
  bool contains(const ops::IrOp* op) const { return nodes_.contains(op); }
  // True if `a` stands before `b`; both must be in the sequence.
  bool precedes(const ops::IrOp* a, const ops::IrOp* b) const { return indexOf(a) < indexOf(b); }

  // Inserts before `index`; an index at the end appends.
  void insert(size_t index, OpPtr op);
  void push_back(OpPtr op) { insert(size(), std::move(op)); }
  // Removes the op if it is there; returns whether it was.
  bool erase(const ops::IrOp* op);
  // Puts `replacement` at the op's place; returns whether the op was there.
  bool replace(const ops::IrOp* op, OpPtr replacement);
  void clear();

  // A copy of the order, for walks that change the graph as they go.
  std::vector<OpPtr> snapshot() const;
  // The same, of the ops whose type is one of `types` only. Each node keeps its op's type hash,
  // so the other ops are passed over without being read: on a large graph, a walk that can
  // act on a few types only then doesn't pull every op through the caches.
  std::vector<OpPtr> snapshotOfTypes(const std::vector<std::string>& types) const;

 private:
  static size_t sizeOf(const Node* node);
  static void update(Node* node);
  static Node* merge(Node* left, Node* right);
  static void split(Node* node, size_t count, Node*& left, Node*& right);
  void destroy(Node* node);

  Node* newNode(OpPtr op, uint64_t priority);
  void deleteNode(Node* node);

  Node* root_ = nullptr;
  FlatHashMap<const ops::IrOp*, Node*> nodes_;
  NodePool nodeStorage_;
  uint64_t seed_;
};

}  // namespace modeltools
