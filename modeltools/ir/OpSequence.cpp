#include "OpSequence.hpp"

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>

#include "IrOp.hpp"

namespace modeltools {

namespace {

size_t typeHashOf(const std::string& type) { return std::hash<std::string>{}(type); }

}  // namespace

struct OpSequence::Node {
  OpPtr op;
  uint64_t priority;
  size_t typeHash;  // an op's type never changes
  size_t size = 1;
  Node* left = nullptr;
  Node* right = nullptr;
  Node* parent = nullptr;
};

OpSequence::OpSequence() : nodeStorage_(sizeof(Node)), seed_(0x9E3779B97F4A7C15ull) {}

OpSequence::Node* OpSequence::newNode(OpPtr op, uint64_t priority) {
  void* slot = nodeStorage_.allocate();
  const size_t typeHash = typeHashOf(op->type());
  return new (slot) Node{std::move(op), priority, typeHash};
}

void OpSequence::deleteNode(Node* node) {
  node->~Node();
  nodeStorage_.deallocate(node);
}

OpSequence::~OpSequence() { destroy(root_); }

void OpSequence::destroy(Node* node) {
  // Nodes go in execution order, the order they were mostly made in, so that their slots are
  // visited one after another. Rotating each left child up until there is none needs neither
  // recursion nor a stack, however long a degenerate chain is.
  while (node != nullptr) {
    if (Node* left = node->left; left != nullptr) {
      node->left = left->right;
      left->right = node;
      node = left;
    } else {
      Node* right = node->right;
      deleteNode(node);
      node = right;
    }
  }
}

size_t OpSequence::sizeOf(const Node* node) { return node != nullptr ? node->size : 0; }

void OpSequence::update(Node* node) {
  node->size = 1 + sizeOf(node->left) + sizeOf(node->right);
  if (node->left != nullptr) node->left->parent = node;
  if (node->right != nullptr) node->right->parent = node;
}

OpSequence::Node* OpSequence::merge(Node* left, Node* right) {
  if (left == nullptr) return right;
  if (right == nullptr) return left;
  if (left->priority > right->priority) {
    left->right = merge(left->right, right);
    update(left);
    return left;
  }
  right->left = merge(left, right->left);
  update(right);
  return right;
}

// The first `count` nodes go left, the rest right.
void OpSequence::split(Node* node, size_t count, Node*& left, Node*& right) {
  if (node == nullptr) {
    left = right = nullptr;
    return;
  }
  if (sizeOf(node->left) < count) {
    split(node->right, count - sizeOf(node->left) - 1, node->right, right);
    left = node;
  } else {
    split(node->left, count, left, node->left);
    right = node;
  }
  update(node);
}

size_t OpSequence::size() const { return sizeOf(root_); }

OpSequence::const_iterator OpSequence::begin() const {
  const Node* node = root_;
  while (node != nullptr && node->left != nullptr) node = node->left;
  return const_iterator(node);
}

const OpSequence::OpPtr& OpSequence::const_iterator::operator*() const { return node_->op; }

OpSequence::const_iterator& OpSequence::const_iterator::operator++() {
  if (node_->right != nullptr) {
    node_ = node_->right;
    while (node_->left != nullptr) node_ = node_->left;
    return *this;
  }
  const Node* child = node_;
  node_ = node_->parent;
  while (node_ != nullptr && node_->right == child) {
    child = node_;
    node_ = node_->parent;
  }
  return *this;
}

const OpSequence::OpPtr& OpSequence::at(size_t index) const {
  if (index >= size()) throw std::out_of_range("modeltools::OpSequence::at: index out of range");
  const Node* node = root_;
  while (true) {
    const size_t leftSize = sizeOf(node->left);
    if (index < leftSize) {
      node = node->left;
    } else if (index == leftSize) {
      return node->op;
    } else {
      index -= leftSize + 1;
      node = node->right;
    }
  }
}

size_t OpSequence::indexOf(const ops::IrOp* op) const {
  auto it = nodes_.find(op);
  if (it == nodes_.end()) return npos;
  const Node* node = it->second;
  size_t index = sizeOf(node->left);
  for (; node->parent != nullptr; node = node->parent) {
    if (node->parent->right == node) index += sizeOf(node->parent->left) + 1;
  }
  return index;
}

void OpSequence::insert(size_t index, OpPtr op) {
  if (!op) throw std::invalid_argument("modeltools::OpSequence::insert: null op");
  // One lookup finds a duplicate and makes the op's slot.
  auto [slot, inserted] = nodes_.try_emplace(op.get(), nullptr);
  if (!inserted) throw std::logic_error("modeltools::OpSequence::insert: op is already in the sequence");
  if (index > size()) {
    nodes_.erase(slot);
    throw std::out_of_range("modeltools::OpSequence::insert: index out of range");
  }
  seed_ ^= seed_ << 13;
  seed_ ^= seed_ >> 7;
  seed_ ^= seed_ << 17;
  Node* node = nullptr;
  try {
    node = newNode(std::move(op), seed_);
  } catch (...) {
    nodes_.erase(slot);
    throw;
  }
  slot->second = node;
  Node* left = nullptr;
  Node* right = nullptr;
  split(root_, index, left, right);
  root_ = merge(merge(left, node), right);
  root_->parent = nullptr;
}

bool OpSequence::erase(const ops::IrOp* op) {
  const size_t index = indexOf(op);
  if (index == npos) return false;
  Node* left = nullptr;
  Node* middle = nullptr;
  Node* right = nullptr;
  split(root_, index, left, right);
  split(right, 1, middle, right);
  nodes_.erase(op);
  deleteNode(middle);
  root_ = merge(left, right);
  if (root_ != nullptr) root_->parent = nullptr;
  return true;
}

bool OpSequence::replace(const ops::IrOp* op, OpPtr replacement) {
  if (!replacement) throw std::invalid_argument("modeltools::OpSequence::replace: null op");
  auto it = nodes_.find(op);
  if (it == nodes_.end()) return false;
  if (op == replacement.get()) return true;
  if (nodes_.contains(replacement.get())) {
    throw std::logic_error("modeltools::OpSequence::replace: replacement is already in the sequence");
  }
  Node* node = it->second;
  nodes_.erase(it);
  node->op = std::move(replacement);
  node->typeHash = typeHashOf(node->op->type());
  nodes_.emplace(node->op.get(), node);
  return true;
}

void OpSequence::clear() {
  destroy(root_);
  root_ = nullptr;
  nodes_.clear();
}

std::vector<OpSequence::OpPtr> OpSequence::snapshot() const {
  std::vector<OpPtr> ops;
  ops.reserve(size());
  for (const auto& op : *this) ops.push_back(op);
  return ops;
}

std::vector<OpSequence::OpPtr> OpSequence::snapshotOfTypes(const std::vector<std::string>& types) const {
  std::vector<size_t> hashes(types.size());
  std::transform(types.begin(), types.end(), hashes.begin(), typeHashOf);
  std::vector<OpPtr> ops;
  for (const_iterator it = begin(); it != end(); ++it) {
    const size_t hash = it.node_->typeHash;
    for (size_t i = 0; i < types.size(); ++i) {
      if (hashes[i] == hash && (*it)->type() == types[i]) {
        ops.push_back(*it);
        break;
      }
    }
  }
  return ops;
}

}  // namespace modeltools
