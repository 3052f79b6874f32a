// Lookup tables shared between a module and the calls running on it.
//
// A module builds a table from some of its parameters (a gamma and a depth, an angle, a colour map
// type ...) and keeps it in a cache, keyed by what it was built from. Each call that reads the table
// holds a reference of its own while it does. A setter only changes the parameters; the next call
// that finds the key changed drops the cache's reference and builds a new table, while a call still
// reading the old one keeps it alive until it drops its reference. The count is atomic.
//
// The cache's lock covers look-up and replacement, not the pixel loops: a call takes its reference
// and leaves the lock (Acquire). A cache whose users must run one after the other on the table holds
// the lock for the whole call instead (AcquireLocked). The lock is recursive, so an owner can hold it
// to read its parameters and acquire under the same hold; it can also guard those parameters.
#pragma once

#include "lxiputil.h"

#include <GenApi/Synch.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace lxip {

// Keys compare their floating-point parts by bits: a NaN parameter (a register write stores what it
// is given) then finds its own table again instead of building a new one at every call.
inline bool SameBits(double a, double b) noexcept { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

// A table of entries with an atomic reference count. Create() hands out the first reference;
// the last Release() frees the table. Derived classes add the facts their kernels need.
template <class Entry>
class CLxSharedTable {
public:
    using EntryType = Entry;

    // A table of `size` entries, left for the builder to fill, followed by `spare` value-initialised
    // ones (room for reads that run a little past the last entry). One reference for the caller.
    static CLxSharedTable* Create(size_t size, size_t spare = 0) { return new CLxSharedTable(size, spare); }

    CLxSharedTable(const CLxSharedTable&) = delete;
    CLxSharedTable& operator=(const CLxSharedTable&) = delete;

    void AddRef() const noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
    // Drops one reference; the last one frees the table.
    void Release() const noexcept {
        if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    uint32_t RefCount() const noexcept { return m_refs.load(std::memory_order_acquire); }

    // Entries, the spare ones not counted.
    size_t Size() const noexcept { return m_size; }
    const Entry* Entries() const noexcept { return m_entries.get(); }
    Entry* Entries() noexcept { return m_entries.get(); }
    const Entry& operator[](size_t i) const noexcept { return m_entries[i]; }
    Entry& operator[](size_t i) noexcept { return m_entries[i]; }

protected:
    CLxSharedTable(size_t size, size_t spare) : m_size(size), m_entries(new Entry[size + spare]) {
        for (size_t i = size; i < size + spare; ++i) m_entries[i] = Entry();
    }
    virtual ~CLxSharedTable() = default;

private:
    mutable std::atomic<uint32_t> m_refs{1};
    size_t m_size;
    std::unique_ptr<Entry[]> m_entries;
};

// One reference to a shared table, dropped at scope end: what a call holds while it reads the
// table. Move-only. Table is CLxSharedTable<...>, a class derived from it, or either as const.
template <class Table>
class CLxSharedTableRef {
public:
    CLxSharedTableRef() noexcept = default;
    // Takes over a reference the caller owns (from Create or a cache).
    explicit CLxSharedTableRef(Table* adopted) noexcept : m_table(adopted) {}
    ~CLxSharedTableRef() { reset(); }

    CLxSharedTableRef(CLxSharedTableRef&& other) noexcept : m_table(other.Detach()) {}
    // From a reference to a non-const table to one to a const table, and the like.
    template <class Other>
    CLxSharedTableRef(CLxSharedTableRef<Other>&& other) noexcept : m_table(other.Detach()) {}
    CLxSharedTableRef& operator=(CLxSharedTableRef&& other) noexcept {
        if (this != &other) {
            reset();
            m_table = other.Detach();
        }
        return *this;
    }
    CLxSharedTableRef(const CLxSharedTableRef&) = delete;
    CLxSharedTableRef& operator=(const CLxSharedTableRef&) = delete;

    Table* get() const noexcept { return m_table; }
    Table* operator->() const noexcept { return m_table; }
    Table& operator*() const noexcept { return *m_table; }
    explicit operator bool() const noexcept { return m_table != nullptr; }

    void reset() noexcept {
        if (m_table) m_table->Release();
        m_table = nullptr;
    }
    // Hands the reference to the caller, who must release it.
    Table* Detach() noexcept { return std::exchange(m_table, nullptr); }

private:
    Table* m_table = nullptr;
};

// A reference that also holds the cache's lock until scope end (see AcquireLocked).
template <class Table>
class CLxLockedTableRef {
public:
    CLxLockedTableRef(GenApi::CLock& lock, CLxSharedTableRef<Table>&& table) noexcept
        : m_lock(&lock), m_table(std::move(table)) {}
    ~CLxLockedTableRef() {
        m_table.reset();
        if (m_lock) m_lock->Unlock();
    }
    CLxLockedTableRef(CLxLockedTableRef&& other) noexcept
        : m_lock(std::exchange(other.m_lock, nullptr)), m_table(std::move(other.m_table)) {}
    CLxLockedTableRef(const CLxLockedTableRef&) = delete;
    CLxLockedTableRef& operator=(const CLxLockedTableRef&) = delete;
    CLxLockedTableRef& operator=(CLxLockedTableRef&&) = delete;

    Table* get() const noexcept { return m_table.get(); }
    Table* operator->() const noexcept { return m_table.get(); }
    Table& operator*() const noexcept { return *m_table; }
    explicit operator bool() const noexcept { return static_cast<bool>(m_table); }

private:
    GenApi::CLock* m_lock;
    CLxSharedTableRef<Table> m_table;
};

// The holder of one table and the key it was built from. Key needs ==: a table is reused when its key
// equals the one asked for. Where a part of the key cannot change the table in some cases, the owner
// brings that part to one value in those cases, so that equal tables have equal keys.
template <class Key, class Table>
class CLxSharedTableCache {
public:
    using Ref = CLxSharedTableRef<const Table>;
    using LockedRef = CLxLockedTableRef<const Table>;

    CLxSharedTableCache() = default;
    ~CLxSharedTableCache() {
        if (m_table) m_table->Release();
    }
    CLxSharedTableCache(const CLxSharedTableCache&) = delete;
    CLxSharedTableCache& operator=(const CLxSharedTableCache&) = delete;

    // A reference to the table for `key`. The held table serves if it was built for an equal key.
    // Otherwise the cache drops its reference, records the key and calls build(), which returns a
    // new table with one reference (the cache's). std::bad_alloc becomes BadAllocException; after any
    // exception the cache holds no table, so the next call builds again.
    template <class Build>
    Ref Acquire(const Key& key, Build&& build) {
        GenApi::AutoLock lock(m_lock);
        return Ref(Find(key, build));
    }

    // As Acquire, but the returned reference holds the cache's lock until it ends: no other call can
    // look up or replace the table in the meantime.
    template <class Build>
    LockedRef AcquireLocked(const Key& key, Build&& build) {
        m_lock.Lock();
        try {
            return LockedRef(m_lock, Ref(Find(key, build)));
        } catch (...) {
            m_lock.Unlock();
            throw;
        }
    }

    // The table held now, with no reference for the caller (for tests and diagnostics).
    const Table* Peek() const {
        GenApi::AutoLock lock(m_lock);
        return m_table;
    }

    // Drops the held table; running users keep theirs.
    void Clear() {
        GenApi::AutoLock lock(m_lock);
        if (m_table) m_table->Release();
        m_table = nullptr;
    }

    // The cache's lock (recursive): an owner holds it to read its parameters and acquire at once.
    GenApi::CLock& Lock() const noexcept { return m_lock; }

private:
    // Under the lock: the table for `key` with a reference for the caller.
    template <class Build>
    Table* Find(const Key& key, Build& build) {
        if (!m_table || !(m_key == key)) {
            if (m_table) m_table->Release();
            m_table = nullptr;
            m_key = key;
            m_table = TranslateBadAlloc(build);
        }
        m_table->AddRef();
        return m_table;
    }

    mutable GenApi::CLock m_lock;
    Table* m_table = nullptr;
    Key m_key{};
};

} // namespace lxip
