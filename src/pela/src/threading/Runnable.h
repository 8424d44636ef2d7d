#pragma once

namespace ozk {

class Runnable {
public:
    Runnable() = default;
    virtual ~Runnable() = default;
    virtual void run() = 0;
};

}  // namespace ozk
