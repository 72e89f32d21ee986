// The common roots of the component's internal classes.
#pragma once

namespace qv {

/// Root of the internal classes that are owned through a base pointer.
class QuorvelObject {
 public:
  virtual ~QuorvelObject() = default;

 protected:
  QuorvelObject() = default;
  QuorvelObject(const QuorvelObject&) = default;
  QuorvelObject& operator=(const QuorvelObject&) = default;
  QuorvelObject(QuorvelObject&&) = default;
  QuorvelObject& operator=(QuorvelObject&&) = default;
};

/// Root of the wrappers around the separate objects of the component family (log, string array,
/// certificate).
class QuorvelComponent {
 public:
  virtual ~QuorvelComponent() = default;
};

}  // namespace qv
