#pragma once

// Base of every observer the framework accepts; the framework finds the
// observer's kinds by dynamic_cast.
class IObserverObject {
public:
    virtual ~IObserverObject() = default;
};
