// SPDX-License-Identifier: Apache-2.0
#include "card/Delegation.h"

#include "card/Commands.h"
#include "card/Fields.h"
#include "card/Hierarchy.h"
#include "card/Identification.h"
#include "card/ManagementKeys.h"
#include "globalplatform/Signature.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Token.h"

namespace Card {

namespace {

// Nothing in the parameters names who verifies the token.
Bytes ReferenceIn(const Bytes& parameters) {
    const std::vector<TlvObject> objects = Objects(parameters);
    const Bytes* reference = FindObject(objects, Tag::ControlReference);
    return reference == nullptr ? Bytes() : *reference;
}

// As it stands in the command, whose parameters and token have lengths of one to three bytes.
std::size_t FieldLength(const Bytes& field) {
    const std::size_t width = field.size() <= 0x80 ? 1 : field.size() <= 0xFF ? 2 : 3;
    return width + field.size();
}

// What the control reference says of the verifying domain has to be so; C.4.
void RequireReference(
    const Runtime& card, const Application& verifier, const std::vector<TlvObject>& reference) {
    for (const std::uint32_t tag : {Tag::IssuerNumber, Tag::CardImageNumber}) {
        const Bytes* named = FindObject(reference, tag);
        if (named != nullptr && DomainNumber(card.Content(), card.options, verifier, tag) != *named) {
            Refuse(StatusWord::ConditionsNotSatisfied);
        }
    }
}

// Only below a domain that manages by its own authority is there a delegation, 9.1.3.3.
const Application& Verifier(const CardContent& content, const Application& manager) {
    const Application* above = NearestWith(content, manager, Privilege::AuthorizedManagement);
    const Application* verifier = NearestWith(content, manager, Privilege::TokenVerification);
    if (above == nullptr || verifier == nullptr || !IsOperational(content, *verifier)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return *verifier;
}

// Counter and numbers of the domain that gives the receipt, then the number of the token; table 11-16.
Bytes ConfirmationData(const Runtime& card, const Application& giver, const Bytes& tokenNumber) {
    Bytes data = MakeLengthValue(BigEndian(giver.confirmations, ConfirmationCounterLength));
    Bytes numbers;
    for (const std::uint32_t tag : {Tag::IssuerNumber, Tag::CardImageNumber}) {
        Append(numbers, DomainNumber(card.Content(), card.options, giver, tag).value_or(Bytes()));
    }
    Append(data, MakeLengthValue(numbers));
    if (!tokenNumber.empty()) {
        Append(data, MakeLengthValue(tokenNumber));
    }
    return data;
}

// The answer to a command, whose confirmation is counted in the changed content.
Answer Confirm(
    const Runtime& card, CardContent& changed, const Mandate& mandate, const std::vector<Bytes>& fields) {
    const Application* manager = card.Content().Associated(mandate.manager);
    if (!mandate.delegated || manager == nullptr) {
        return NoConfirmation();
    }
    const Application* giver = NearestWith(card.Content(), *manager, Privilege::ReceiptGeneration);
    if (giver == nullptr) {
        return NoConfirmation();
    }
    Application* counting = changed.Associated(card.Content().AssociationWith(*giver));
    if (counting == nullptr || !IsOperational(card.Content(), *giver) || giver->confirmations == UINT16_MAX) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    const Bytes data = ConfirmationData(card, *giver, mandate.tokenNumber);
    const KeyComponents& key = RequireSigningKey(*giver, ManagementKey::Receipt);
    Bytes confirmation = MakeLengthValue(Sign(key, ReceiptText(data, fields)));
    Append(confirmation, data);
    ++counting->confirmations;
    return {MakeLengthValue(confirmation)};
}

}  // namespace

Order InstallOrder(const CommandApdu& command, const std::vector<Bytes>& fields, const Bytes& before) {
    const Bytes& token = fields.back();
    const Bytes& parameters = fields[fields.size() - 2];
    const Bytes signedFields = First(command.data, command.data.size() - FieldLength(token));
    Order order{before, token, ReferenceIn(parameters)};
    Append(order.text, TokenText(command.p1, command.p2, signedFields));
    return order;
}

Order DeletionOrder(const CommandApdu& command, const std::vector<TlvObject>& objects) {
    Order order;
    Bytes fields;
    for (const TlvObject& object : objects) {
        if (object.tag == Tag::Token) {
            order.token = object.value;
            continue;
        }
        if (object.tag == Tag::ControlReference) {
            order.reference = object.value;
        }
        Append(fields, MakeTlv(object.tag, object.value));
    }
    order.text = TokenText(command.p1, command.p2, fields);
    return order;
}

Mandate RequireMandate(const Runtime& card, const Application& manager, const Order& order) {
    Mandate mandate;
    mandate.manager = card.Content().AssociationWith(manager);
    mandate.delegated = manager.Has(Privilege::DelegatedManagement);
    if (!mandate.delegated) {
        RefuseToken(order.token);
        return mandate;
    }
    if (order.token.empty()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    const Application& verifier = Verifier(card.Content(), manager);
    const std::vector<TlvObject> reference = Objects(order.reference);
    RequireReference(card, verifier, reference);
    const KeyComponents& key = RequireVerificationKey(verifier, ManagementKey::Token);
    if (!VerifySignature(key, order.text, order.token)) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    if (const Bytes* number = FindObject(reference, Tag::TokenNumber)) {
        mandate.tokenNumber = *number;
    }
    mandate.leastDigestLength = LeastDigestLength(key);
    return mandate;
}

Answer CommitAndConfirm(
    Runtime& card, CardContent changed, const Mandate& mandate, const std::vector<Bytes>& fields) {
    Answer answer = Confirm(card, changed, mandate, fields);
    card.Commit(std::move(changed));
    return answer;
}

}  // namespace Card
