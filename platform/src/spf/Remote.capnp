# What processes tell each other. Fields are appended, never renumbered; a change that older releases could not
# read takes a new version in the greeting.

@0xa67597907f67eefb;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("varnek::spf::wire");

# The encoded forms travel as bytes inside of the calls below: the thread that moves them does not look into them.

struct Value {
  union {
    nothing @0 :Void;
    truth @1 :Bool;
    integer @2 :Int64;
    text @3 :Data;
    array @4 :Array;
    list @5 :List(Value);
  }
}

struct Array {
  type @0 :UInt8;                   # a type code of the data array
  dimensions @1 :List(UInt64);      # none for the void array and for a scalar
  union {
    void @2 :Void;
    scalar @3 :UInt64;              # the bytes of one element of up to eight
    elements @4 :Data;              # little-endian, column by column
    strings @5 :List(Data);         # UTF-16, little-endian
    cells @6 :List(Array);
    structure :group {
      names @7 :List(Data);
      values @8 :List(Array);       # the fields of the first element, of the second, ...
    }
  }
}

struct Message {                    # a call, an announcement, or what is told of a service
  name @0 :Data;
  values @1 :List(Value);
}

struct Reply {
  union {
    result @0 :Value;
    failure :group {                # what the provider raised
      type @1 :Data;
      text @2 :Data;
      fields @3 :List(Value);
    }
    error :group {
      kind @4 :UInt8;
      text @5 :Data;
    }
  }
}

interface Endpoint {                # of each process that publishes
  follow @0 (follower :Follower);
  call @1 (publication :UInt64, request :Data) -> (reply :Data);
  listen @2 (publication :UInt64, topic :Data, listener :Listener) -> (subscription :Subscription);
}

interface Follower {
  offer @0 (publication :UInt64, service :Data);
  withdraw @1 (publication :UInt64);
}

interface Listener {
  announce @0 (announcement :Data); # answered when the listener has been called
}

interface Subscription {}           # ends with its last reference
