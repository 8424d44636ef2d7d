#pragma once

namespace ozk {

// Recursive mutex: the same thread may lock it again and must unlock it as often.
class Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    int lock();
    int unlock();

    struct Data;
    Data* data() const { return m_data; }

private:
    Data* m_data;
};

}  // namespace ozk
