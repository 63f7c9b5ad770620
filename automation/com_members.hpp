// Members of COM objects that only convert and call the core, in one line each.
//
//   COM_PROPERTY(BSTR, AliasName)
//
// implements get_AliasName and put_AliasName over both overloads of AliasName of `Core()`, the core
// object as the class at hand knows it. A member whose name differs from the core's, or that does
// more, is written out. Used inside a class derived from ComObject.
#pragma once

/// Reads a property.
#define COM_GET(Type, Name)                                           \
  STDMETHODIMP get_##Name(Type* result) override {                    \
    return this->Get(result, [this] { return this->Core().Name(); }); \
  }

/// Reads a property whose object stays the same, and keeps its COM object.
#define COM_GET_KEPT(Interface, Name)                                                    \
  STDMETHODIMP get_##Name(Interface** result) override {                                 \
    return this->GetKept(kept##Name##_, result, [this] { return this->Core().Name(); }); \
  }                                                                                      \
  Kept kept##Name##_{this->Module()};

/// Writes a property.
#define COM_PUT(Type, Name)                                            \
  STDMETHODIMP put_##Name(Type value) override {                       \
    return Guarded([&] { this->Core().Name(this->Argument(value)); }); \
  }

/// Reads and writes a property.
#define COM_PROPERTY(Type, Name) COM_GET(Type, Name) COM_PUT(Type, Name)

/// Reads and assigns a property that holds an object.
#define COM_OBJECT(Interface, Name)                                    \
  COM_GET(Interface*, Name)                                            \
  STDMETHODIMP putref_##Name(Interface* value) override {              \
    return Guarded([&] { this->Core().Name(this->Argument(value)); }); \
  }

/// Reads one element of a property with an index.
#define COM_ELEMENT(Type, Name)                                          \
  STDMETHODIMP get_##Name(SHORT nIndex, Type* result) override {         \
    return this->Get(result, [&] { return this->Core().Name(nIndex); }); \
  }

/// Reads a property with an index, NAME, and all its elements, NAMEArray.
#define COM_ROW(Type, Name) COM_ELEMENT(Type, Name) COM_GET(SAFEARRAY*, Name##Array)

/// Calls a method without arguments.
#define COM_CALL(Name)                               \
  STDMETHODIMP Name() override {                     \
    return Guarded([this] { this->Core().Name(); }); \
  }

/// Calls a method without arguments that gives a result.
#define COM_ANSWER(Type, Name)                                        \
  STDMETHODIMP Name(Type* result) override {                          \
    return this->Get(result, [this] { return this->Core().Name(); }); \
  }
