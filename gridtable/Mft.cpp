#include "gridtable/Mft.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

#ifdef __linux__
#include <pthread.h>
#include <sched.h>
#endif

namespace {

// Largest grid a load accepts, in samples. The biggest table in use has some 315000; this
// leaves room for any sensible grid while refusing sizes that would only come from a damaged
// or hostile archive.
constexpr uint64_t kMaxLoadEntries = uint64_t(1) << 26;

// Throws unless the counts read from an archive describe a usable grid whose sample count is
// exactly P ^ inputChan * outputChan.
void CheckLoadedSize(uint32_t inputChan, uint32_t outputChan, uint32_t points, uint32_t entries) {
    bool ok = inputChan > 0 && outputChan > 0 && points >= 2 && entries <= kMaxLoadEntries;
    uint64_t expected = outputChan;
    for (uint32_t k = 0; ok && k < inputChan; ++k) {
        expected *= points;
        ok = expected <= kMaxLoadEntries;
    }
    if (!ok || expected != entries) throw CArchiveException(CArchiveException::genericException);
}

// Samples go to the stream little-endian; on a little-endian host that is one block.
template <class T> void WriteSamples(CArchive& ar, const T* data, uint32_t count) {
    if constexpr (sizeof(T) == 1 || std::endian::native == std::endian::little) {
        if (count) ar.Write(data, count * unsigned(sizeof(T)));
    } else {
        for (uint32_t i = 0; i < count; ++i) ar << data[i];
    }
}

template <class T> void ReadSamples(CArchive& ar, T* data, uint32_t count) {
    if (count) ar.ReadExact(data, count * unsigned(sizeof(T)));
    if constexpr (sizeof(T) == 2 && std::endian::native == std::endian::big) {
        for (uint32_t i = 0; i < count; ++i) data[i] = T(data[i] << 8 | data[i] >> 8);
    }
}

// Reads `count` samples into a buffer that grows only by what has arrived. The count comes
// from the stream: a stream that ends early must fail before it has allocated (and zeroed)
// what it announced. The buffer doubles, so a complete grid costs a few reallocations.
template <class T> GridVector<T> ReadSampleRun(CArchive& ar, uint32_t count) {
    constexpr size_t kFirstSamples = size_t(1) << 15;
    GridVector<T> samples;
    while (samples.size() < count) {
        const size_t at = samples.size();
        const size_t n = std::min<size_t>(count - at, std::max(at, kFirstSamples));
        samples.resize(at + n);
        ReadSamples(ar, samples.data() + at, static_cast<uint32_t>(n));
    }
    return samples;
}

// Moves a freshly started helper off the calling thread's core, to any other core the process
// may use. A new thread is otherwise queued on its creator's core on some virtual machines and
// does not run until the creator's time slice ends, after a short sampling is long over. The
// placement only decides where a node is evaluated, never what it becomes.
void PlaceBesideCaller(std::thread& helper) {
#ifdef __linux__
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    const int here = sched_getcpu();
    if (here < 0 || here >= CPU_SETSIZE || sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    CPU_CLR(here, &allowed);
    if (CPU_COUNT(&allowed) > 0)
        pthread_setaffinity_np(helper.native_handle(), sizeof allowed, &allowed);
#else
    (void)helper;
#endif
}

} // namespace

template <class T>
TMft<T>::TMft(unsigned inputChan, unsigned clutPoints, unsigned outputChan)
    : Func(inputChan, outputChan), m_clutPoints(clutPoints) {
    Init();
}

template <class T> void TMft<T>::Init() {
    if (m_clutPoints == 0) return;
    gridMax = m_clutPoints - 1;
    gridHalf = gridMax >> 1;
    const uint32_t inputChan = this->m_inputChan;
    dimPower.assign(inputChan + 1, 1);
    for (uint32_t k = 1; k <= inputChan; ++k) dimPower[k] = dimPower[k - 1] * m_clutPoints;
    tabCount = dimPower[inputChan];
    if (tabEntries == 0) {
        tabEntries = tabCount * this->m_outputChan;
        table = GridVector<T>(tabEntries); // a new block, zeroed as it comes (GridAllocator)
    }
}

template <class T> void TMft<T>::Define(const T* data) {
    std::copy(data, data + tabEntries, table.begin());
    deltaValid = 0;
}

template <class T> void TMft<T>::DefineByFunc(const Func& f) {
    const uint32_t outputChan = this->m_outputChan;
    GridVector<T> grid(tabEntries);
    std::vector<T> point(this->m_inputChan);
    T* node = grid.data();
    for (uint32_t n = 0; n < tabCount; ++n, node += outputChan) {
        GenPoint(n, point.data());
        f.Trn(point.data(), node);
    }
    table = std::move(grid);
    deltaValid = 0;
}

template <class T> void TMft<T>::DefineByFuncOnThreads(const Func& f, unsigned threads) {
    SampleOnThreads(nullptr, f, threads);
}

template <class T>
void TMft<T>::DefineByFuncOnThreads(const Func& head, const Func& rest, unsigned threads) {
    SampleOnThreads(&head, rest, threads);
}

template <class T>
void TMft<T>::SampleOnThreads(const Func* head, const Func& f, unsigned threads) {
    const uint32_t outputChan = this->m_outputChan;
    const uint32_t inputChan = this->m_inputChan;
    threads = std::max(1u, std::min<unsigned>(threads, tabCount));
    if (inputChan > kMaxGridInputs) {
        if (!head) {
            DefineByFunc(f);
            return;
        }
        // The composition node by node, its intermediate vector zeroed first as a
        // composition's is.
        GridVector<T> grid(tabEntries);
        std::vector<T> point(inputChan), mid(inputChan);
        T* node = grid.data();
        for (uint32_t n = 0; n < tabCount; ++n, node += outputChan) {
            GenPoint(n, point.data());
            std::fill(mid.begin(), mid.end(), T(0));
            head->Trn(point.data(), mid.data());
            f.Trn(mid.data(), node);
        }
        table = std::move(grid);
        deltaValid = 0;
        return;
    }
    // What each axis gives f at each of its node indices: the node value, or head's output
    // for that channel, which depends on that channel's input alone. head is evaluated on a
    // zeroed output, as inside a composition, so a channel it leaves unwritten reads 0 too.
    std::vector<T> axis(size_t(inputChan) * m_clutPoints);
    for (uint32_t i = 0; i < m_clutPoints; ++i) {
        T in[kMaxGridInputs], out[kMaxGridInputs] = {};
        std::fill(in, in + inputChan, NodeValue(i));
        if (head)
            head->Trn(in, out);
        else
            std::copy(in, in + inputChan, out);
        for (uint32_t c = 0; c < inputChan; ++c) axis[size_t(c) * m_clutPoints + i] = out[c];
    }
    // Written in place, and f must not read this table. Each node starts as zeros, as in the
    // grid DefineByFunc builds aside, so outputs that f leaves unwritten read 0 there too; the
    // thread that evaluates a node is the one that clears it. A run finds its first node's
    // indices by division and counts the others up like an odometer, the last input the
    // fastest: the very points GenPoint gives, without two divisions per axis a node.
    auto run = [&](uint32_t begin, uint32_t end) {
        T point[kMaxGridInputs];
        uint32_t index[kMaxGridInputs];
        for (uint32_t c = inputChan, rest = begin; c-- > 0; rest /= m_clutPoints) {
            index[c] = rest % m_clutPoints;
            point[c] = axis[size_t(c) * m_clutPoints + index[c]];
        }
        T* node = table.data() + size_t(begin) * outputChan;
        for (uint32_t n = begin; n < end; ++n, node += outputChan) {
            std::fill(node, node + outputChan, T(0));
            f.Trn(point, node);
            for (uint32_t c = inputChan; c-- > 0;) {
                const T* values = axis.data() + size_t(c) * m_clutPoints;
                if (++index[c] < m_clutPoints) {
                    point[c] = values[index[c]];
                    break;
                }
                index[c] = 0;
                point[c] = values[0];
            }
        }
    };
    if (threads == 1) {
        run(0, tabCount);
        deltaValid = 0;
        return;
    }
    // The nodes are handed out in runs from a shared counter rather than split in fixed
    // parts: a thread that starts late (a fresh process's first thread waits for an idle core
    // to wake) then takes fewer runs, and the calling thread never sits waiting for a part
    // nobody has begun. Which thread evaluates a node does not change the node.
    constexpr uint32_t kRunNodes = 512;
    std::atomic<uint32_t> next{0};
    std::vector<std::exception_ptr> errors(threads);
    std::vector<std::thread> helpers;
    helpers.reserve(threads - 1);
    auto part = [&](unsigned k) {
        try {
            for (;;) {
                const uint32_t begin = next.fetch_add(kRunNodes, std::memory_order_relaxed);
                if (begin >= tabCount) break;
                run(begin, std::min(tabCount, begin + kRunNodes));
            }
        } catch (...) {
            errors[k] = std::current_exception();
            next.store(tabCount, std::memory_order_relaxed); // the others stop early
        }
    };
    // A thread that cannot be started leaves its share to the others.
    try {
        for (unsigned started = 1; started < threads; ++started) {
            helpers.emplace_back(part, started);
            PlaceBesideCaller(helpers.back());
        }
    } catch (const std::system_error&) {
    }
    part(0);
    for (auto& t : helpers) t.join();
    deltaValid = 0;
    for (auto& e : errors)
        if (e) std::rethrow_exception(e);
}

template <class T> void TMft<T>::AppendFunc(const Func& f) {
    const uint32_t outputChan = this->m_outputChan;
    if (f.outputChan() == outputChan) {
        std::vector<T> result(outputChan);
        T* node = table.data();
        for (uint32_t n = 0; n < tabCount; ++n, node += outputChan) {
            f.Trn(node, result.data());
            std::copy(result.begin(), result.end(), node);
        }
    }
    deltaValid = 0;
}

template <class T> void TMft<T>::GenPoint(unsigned node, T* point) const {
    for (uint32_t c = this->m_inputChan; c-- > 0;) {
        const uint32_t r = node % m_clutPoints;
        node /= m_clutPoints;
        point[c] = NodeValue(r);
    }
}

template <class T> void TMft<T>::GenGridPoint(const unsigned* index, T* point) const {
    for (uint32_t c = this->m_inputChan; c-- > 0;) point[c] = NodeValue(index[c]);
}

template <class T> void TMft<T>::GetIndex(unsigned node, unsigned* index) const {
    const uint32_t p = m_clutPoints;
    index[2] = node % p;
    index[1] = (node / p) % p;
    index[0] = (node / p / p) % p;
}

template <class T> unsigned TMft<T>::QuantizeToGridPoint(const T* in) const {
    // Rounds half up: 128 of 255, 32768 of 65535. Not the shift-based rule of GridTrn.
    constexpr uint32_t kRoundUpAt = kFullScale / 2 + 1;
    uint32_t n = 0;
    for (uint32_t c = 0; c < this->m_inputChan; ++c) {
        const uint32_t p = in[c] * gridMax;
        const uint32_t q = p / kFullScale + (p % kFullScale >= kRoundUpAt ? 1 : 0);
        n = n * m_clutPoints + q;
    }
    return n * this->m_outputChan;
}

template <class T> void TMft<T>::Serialize(CArchive& ar) {
    Func::Serialize(ar);
    if (ar.IsStoring()) {
        ar << m_clutPoints << tabEntries;
        WriteSamples(ar, table.data(), tabEntries);
        return;
    }
    uint32_t points = 0, entries = 0;
    ar >> points >> entries;
    // Archives may come from outside: refuse sizes that do not describe this grid before
    // allocating anything, and allocate no more than the samples that have arrived.
    CheckLoadedSize(this->m_inputChan, this->m_outputChan, points, entries);
    GridVector<T> loaded = ReadSampleRun<T>(ar, entries);
    m_clutPoints = points;
    tabEntries = entries;
    table = std::move(loaded);
    deltaValid = 0;
    Init();
}

template class TMft<uint8_t>;
template class TMft<uint16_t>;

void CMft_8::BuildInputSplit(std::vector<uint8_t>& indexTab, std::vector<uint8_t>& fracTab) const {
    indexTab.assign(256, 0);
    fracTab.assign(256, 0);
    for (uint32_t v = 0; v < 256; ++v) {
        const uint32_t p = v * gridMax;
        indexTab[v] = static_cast<uint8_t>(p / 255);
        fracTab[v] = static_cast<uint8_t>(p % 255);
    }
}

IMPLEMENT_DYNCREATE(CMft_8, CFunc_8)
IMPLEMENT_DYNCREATE(CMft_16, CFunc_16)
