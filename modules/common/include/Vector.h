#ifndef ZR_VECTOR_H
#define ZR_VECTOR_H

#include <climits>
#include <new>

#include "Exception.h"
#include "ZRObject.h"

// Growable array that owns a separate heap copy of each element. Only the
// array of pointers moves when the vector grows, so references to elements
// stay valid until that element is removed, replaced or the vector cleared.
// Growth is geometric: each growth adds `increment` slots or as many as
// the vector already has, whichever is more (20, 40, 80, ...). A short list
// grows as with a fixed increment, while building a list of thousands of
// entries copies each pointer a bounded number of times; the elements and
// every visible result are the same either way.
template <class T>
class Vector : public ZRObject {
public:
    // `increment` 0 (or less) means 20.
    explicit Vector(int initialCapacity = 0, int increment = 20);
    Vector(const Vector& other);
    ~Vector() override;

    virtual void grow();
    virtual void add(const T& v);
    virtual int capacity() const { return capacity_; }
    virtual void clear();
    virtual T& elementAt(int i);
    virtual const T& elementAt(int i) const;
    // `pos` in 0..size(); size() appends.
    virtual void insertAt(const T& v, int pos);
    virtual T& lastElement();
    // Returns a copy of the removed element.
    virtual T removeAt(int i);
    // Returns a copy of the replaced element.
    virtual T setAt(int i, const T& v);
    virtual int size() const { return count_; }
    virtual void trimToSize();
    virtual T& operator[](int i) { return elementAt(i); }
    virtual const T& operator[](int i) const { return elementAt(i); }
    virtual Vector& operator=(const Vector& other);

    bool isEmpty() const { return count_ == 0; }
    const T& lastElement() const;

private:
    static constexpr const char* UNIT = "../../../modules/common/include/../src/Vector";

    void checkIndex(int i) const;
    static T** allocateSlots(int n);
    static T* copyOf(const T& v);
    T* copyWithRoom(const T& v);

    T** items_;
    int capacity_;
    int count_;
    int increment_;
};

template <class T>
Vector<T>::Vector(int initialCapacity, int increment)
    : items_(nullptr), capacity_(0), count_(0), increment_(increment > 0 ? increment : 20) {
    if (initialCapacity > 0) {
        items_ = allocateSlots(initialCapacity);
        capacity_ = initialCapacity;
    }
}

template <class T>
Vector<T>::Vector(const Vector& other) : Vector(0, other.increment_) {
    *this = other;
}

template <class T>
Vector<T>::~Vector() {
    for (int i = 0; i < count_; i++) delete items_[i];
    delete[] items_;
}

template <class T>
void Vector<T>::checkIndex(int i) const {
    if (i < 0 || i >= count_) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
}

template <class T>
T** Vector<T>::allocateSlots(int n) {
    T** slots = new (std::nothrow) T*[n];
    if (slots == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    return slots;
}

template <class T>
T* Vector<T>::copyOf(const T& v) {
    T* item = new (std::nothrow) T(v);
    if (item == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    return item;
}

// Copy first: `v` may be an element of this vector, and a failed copy or
// growth must leave the vector as it was. On return there is a free slot.
template <class T>
T* Vector<T>::copyWithRoom(const T& v) {
    T* item = copyOf(v);
    if (count_ == capacity_) {
        try {
            grow();
        } catch (...) {
            delete item;
            throw;
        }
    }
    return item;
}

template <class T>
void Vector<T>::grow() {
    if (capacity_ > INT_MAX / 2) ZR_THROW(OutOfMemoryException, "Out of memory", UNIT);
    int newCapacity = capacity_ + (capacity_ > increment_ ? capacity_ : increment_);
    T** slots = allocateSlots(newCapacity);
    for (int i = 0; i < count_; i++) slots[i] = items_[i];
    delete[] items_;
    items_ = slots;
    capacity_ = newCapacity;
}

template <class T>
void Vector<T>::add(const T& v) {
    T* item = copyWithRoom(v);
    items_[count_++] = item;
}

template <class T>
void Vector<T>::clear() {
    for (int i = 0; i < count_; i++) {
        delete items_[i];
        items_[i] = nullptr;
    }
    count_ = 0;
}

template <class T>
T& Vector<T>::elementAt(int i) {
    checkIndex(i);
    return *items_[i];
}

template <class T>
const T& Vector<T>::elementAt(int i) const {
    checkIndex(i);
    return *items_[i];
}

template <class T>
void Vector<T>::insertAt(const T& v, int pos) {
    if (pos < 0 || pos > count_) ZR_THROW(ArrayIndexException, "Array index out of bounds", UNIT);
    T* item = copyWithRoom(v);
    for (int i = count_; i > pos; i--) items_[i] = items_[i - 1];
    items_[pos] = item;
    count_++;
}

template <class T>
T& Vector<T>::lastElement() {
    checkIndex(count_ - 1);
    return *items_[count_ - 1];
}

template <class T>
const T& Vector<T>::lastElement() const {
    checkIndex(count_ - 1);
    return *items_[count_ - 1];
}

template <class T>
T Vector<T>::removeAt(int i) {
    checkIndex(i);
    T removed(*items_[i]);
    delete items_[i];
    for (int k = i; k < count_ - 1; k++) items_[k] = items_[k + 1];
    items_[--count_] = nullptr;
    return removed;
}

template <class T>
T Vector<T>::setAt(int i, const T& v) {
    checkIndex(i);
    T old(*items_[i]);
    T* item = copyOf(v);
    delete items_[i];
    items_[i] = item;
    return old;
}

template <class T>
void Vector<T>::trimToSize() {
    if (count_ == capacity_) return;
    T** slots = nullptr;
    if (count_ > 0) {
        slots = allocateSlots(count_);
        for (int i = 0; i < count_; i++) slots[i] = items_[i];
    }
    delete[] items_;
    items_ = slots;
    capacity_ = count_;
}

template <class T>
Vector<T>& Vector<T>::operator=(const Vector& other) {
    if (this == &other) return *this;
    // The copy is built completely before the old contents go, so a failed
    // allocation leaves this vector as it was.
    T** slots = other.capacity_ > 0 ? allocateSlots(other.capacity_) : nullptr;
    int copied = 0;
    try {
        for (; copied < other.count_; copied++) slots[copied] = copyOf(*other.items_[copied]);
    } catch (...) {
        for (int i = 0; i < copied; i++) delete slots[i];
        delete[] slots;
        throw;
    }
    clear();
    delete[] items_;
    items_ = slots;
    capacity_ = other.capacity_;
    count_ = other.count_;
    increment_ = other.increment_;
    return *this;
}

#endif
