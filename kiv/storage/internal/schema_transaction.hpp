// SchemaTransaction: the one transaction of a change to a database's schema, made on a connection
// inside its queue.
//
// Outside a transaction it begins an exclusive one; inside a transaction of the application's it
// starts a savepoint, so that a failure undoes the change alone. Unless commit() succeeds, the
// destructor rolls the change back.
#ifndef KIV_STORAGE_INTERNAL_SCHEMA_TRANSACTION_HPP_
#define KIV_STORAGE_INTERNAL_SCHEMA_TRANSACTION_HPP_

namespace kiv {

class SqDatabase;

class SchemaTransaction {
 public:
  explicit SchemaTransaction(SqDatabase& db);
  ~SchemaTransaction();
  SchemaTransaction(const SchemaTransaction&) = delete;
  SchemaTransaction& operator=(const SchemaTransaction&) = delete;

  // Whether the transaction (or savepoint) began; the connection's last error says why not.
  bool began() const noexcept { return began_; }
  // Commits (or releases the savepoint); false, with the connection's last error, when that
  // failed, and the destructor then rolls back.
  bool commit();

 private:
  SqDatabase& db_;
  const bool nested_;
  const bool began_;
  bool committed_ = false;
};

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_SCHEMA_TRANSACTION_HPP_
