// SPDX-License-Identifier: Apache-2.0
#include <qvws/qvws.h>

#include <gtest/gtest.h>
#include <string.h>

#include <vector>

namespace {

// A pointer to a virtual member holds 1 + its offset in the table of virtual operations (Itanium C++ ABI 2.3), so its slot can be read.
template <class Member>
int slot(Member member) {
  intptr_t offset = 0;
  memcpy(&offset, &member, sizeof offset);
  return static_cast<int>((offset - 1) / static_cast<intptr_t>(sizeof(void*))) + 1;
}

template <class... Members>
void expectOrder(Members... members) {
  int expected = 0;
  for (const int actual : {slot(members)...}) EXPECT_EQ(actual, ++expected);
}

TEST(Abi, SlotsStandInTheirOrder) {
  using C = WebServiceClient;
  expectOrder(&C::AddRequestValue, &C::SetInputParmValue, &C::SetOutputParmValue, &C::Discover, &C::DiscoverURI, &C::GetRequestValue,
              &C::GetRequestValueCount, &C::GetRequestValueAt, &C::GetOption, &C::GetResponseValue, &C::GetResponseValueCount, &C::GetResponseValueAt,
              &C::GetResponseValueByIndex, &C::Invoke, &C::Release, &C::Reset, &C::SetRequestValue, &C::AddNamespace, &C::SetOption);
  expectOrder(&WebServiceInvokeCallback::getOption, &WebServiceInvokeCallback::isCancelled);
  using V = WebServiceParmValue;
  expectOrder(&V::removeProperty, &V::getStyle, &V::getDirection, &V::getProperty, &V::release, &V::setProperty, &V::setValueIsXml);
  using D = WebServiceDiscovery;
  expectOrder(&D::getBinding, &D::getBindingAt, &D::getBindingCount, &D::getDocumentation, &D::getInterface, &D::getInterfaceAt,
              &D::getInterfaceCount, &D::getService, &D::getServiceAt, &D::getServiceCount, &D::getVersion, &D::release);
  using S = WebServiceService;
  expectOrder(&S::getDocumentation, &S::getEndpoint, &S::getEndpointAt, &S::getEndpointCount, &S::getQName, &S::getInterface);
  using E = WebServiceEndpoint;
  expectOrder(&E::getBinding, &E::getDocumentation, &E::getName, &E::getService);
  using I = WebServiceInterface;
  expectOrder(&I::getBinding, &I::getBindingAt, &I::getBindingCount, &I::getDocumentation, &I::getQName, &I::getOperation, &I::getOperationAt,
              &I::getOperationCount);
  using O = WebServiceOperation;
  expectOrder(&O::getAction, &O::getAddress, &O::getDocumentation, &O::getInputParameter, &O::getInterface, &O::getQName, &O::getOutputParameter);
  using P = WebServiceParameter;
  expectOrder(&P::getDocumentation, &P::getQName, &P::getSchema, &P::getXML);
  using B = WebServiceBinding;
  expectOrder(&B::getDocumentation, &B::getQName, &B::getOperation, &B::getOperationAt, &B::getOperationCount);
  using U = QvbStringCursor;
  expectOrder(&U::isOpen, &U::getColumnName, &U::getColumnCount, &U::getString, &U::getColumnLabel, &U::getRowCount, &U::next, &U::release,
              &U::rewind);
}

}  // namespace
