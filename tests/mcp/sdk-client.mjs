// Drives the built zeph-mcp through the official MCP TypeScript SDK's stdio client, as an MCP client
// application would: initialize, list the tools, and call each tool with good and bad arguments.
//
//   node tests/mcp/sdk-client.mjs path/to/zeph-mcp
//
// The SDK comes from tests/mcp/node_modules, which scripts/deps installs.
import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { McpError } from "@modelcontextprotocol/sdk/types.js";

const executable = process.argv[2];
if (!executable) {
    console.error("usage: node sdk-client.mjs path/to/zeph-mcp");
    process.exit(2);
}

const dataFolder = fs.mkdtempSync(path.join(os.tmpdir(), "zeph-sdk-"));
let client;
let errors = "";

const text = (result) => {
    assert.equal(result.content.length, 1);
    assert.equal(result.content[0].type, "text");
    return result.content[0].text;
};
const call = async (name, args = {}) => client.callTool({ name, arguments: args });
const succeeds = async (name, args) => {
    const result = await call(name, args);
    assert.equal(result.isError, false, text(result));
    return text(result);
};
const fails = async (name, args) => {
    const result = await call(name, args);
    assert.equal(result.isError, true, text(result));
    return text(result);
};

before(async () => {
    const transport = new StdioClientTransport({
        command: executable,
        env: { ...process.env, ZEPH_DATA_DIR: dataFolder },
        stderr: "pipe",
    });
    transport.stderr.on("data", (chunk) => (errors += chunk));
    client = new Client({ name: "zeph-sdk-test", version: "1.0.0" });
    await client.connect(transport);
});

after(async () => {
    await client?.close();
    fs.rmSync(dataFolder, { recursive: true, force: true });
    assert.equal(errors, "", "zeph-mcp wrote to standard error");
});

test("initialize tells the server, its one capability and its instructions", async () => {
    assert.deepEqual(client.getServerVersion(), {
        name: "zeph-launcher",
        title: "Zeph Launcher",
        version: client.getServerVersion().version,
    });
    assert.match(client.getServerVersion().version, /^\d+\.\d+\.\d+$/);
    assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
    assert.equal(
        client.getInstructions(),
        "Creates and manages Zeph Launcher workflows and snippets on this computer. Call " +
            "describe_zeph first. Everything you add is disabled until the user approves it in " +
            "Zeph Launcher's Settings.",
    );
    assert.deepEqual(await client.ping(), {});
});

test("tools/list gives the catalogue in order", async () => {
    const { tools } = await client.listTools();
    assert.deepEqual(
        tools.map((tool) => tool.name),
        [
            "describe_zeph", "list_workflows", "get_workflow", "validate_workflow",
            "create_workflow", "update_workflow", "delete_workflow", "test_workflow",
            "list_snippets", "create_snippet", "update_snippet", "delete_snippet", "preview_snippet",
        ],
    );
    for (const tool of tools) {
        assert.equal(tool.inputSchema.type, "object", tool.name);
        assert.ok(tool.description.length > 20, tool.name);
    }
    const create = tools.find((tool) => tool.name === "create_workflow");
    assert.deepEqual(create.inputSchema.required, ["workflow"]);
    assert.deepEqual(create.inputSchema.properties.workflow.required, ["name", "nodes"]);
});

test("describe_zeph explains the nodes and the review rules", async () => {
    const guide = await succeeds("describe_zeph");
    assert.match(guide, /^# Zeph Launcher\n/);
    assert.match(guide, /\n## Review rules\n/);
    assert.match(guide, /\nInput nodes:\n- keyword — fields: /);
    assert.match(guide, /\n- revealInFinder — fields: path\n {2}Reveals a file in the file manager\.\n/);
});

test("workflows: list, get, validate, create, update, test, delete", async () => {
    const listed = JSON.parse(await succeeds("list_workflows"));
    assert.deepEqual(
        listed.workflows.map((workflow) => workflow.id),
        ["example-uuid", "example-github", "example-vscode", "example-downloads"],
    );

    const spec = JSON.parse(await succeeds("get_workflow", { id: "example-github" }));
    assert.equal(spec.name, "GitHub Repository");
    assert.equal(spec.nodes[0].type, "keyword");
    assert.equal(
        await fails("get_workflow", { id: "nope" }),
        'No workflow with id "nope". Use list_workflows.',
    );
    assert.equal(await fails("get_workflow", {}), '"id" is required.');

    const hello = {
        name: "Hello",
        nodes: [
            { id: "in", type: "keyword", keyword: "hello" },
            { id: "show", type: "largeType", text: "Hello {query}" },
        ],
        connections: [{ from: "in", to: "show" }],
    };
    assert.equal(await succeeds("validate_workflow", { workflow: hello }), "Valid. No problems found.");
    assert.equal(
        await fails("validate_workflow", { workflow: { name: "x" } }),
        'A workflow needs a non-empty "nodes" array.',
    );

    const installed = await succeeds("create_workflow", { workflow: hello });
    const id = /with id ([0-9A-F-]{36})\./.exec(installed)[1];
    assert.equal(
        installed,
        `Installed workflow "Hello" with id ${id}.\nIt is disabled until the user reviews and ` +
            "approves it in Zeph Launcher → Settings → Workflows.",
    );
    assert.equal(
        await fails("create_workflow", { workflow: { name: "x", nodes: [{ type: "teleport" }] } }),
        'Node 1: unknown type "teleport". Types: keyword, hotkey, scriptFilter, listFilter, ' +
            "openURL, openFile, revealInFinder, runScript, copyToClipboard, notification, " +
            "largeType, setVariable, replaceQuery, condition.",
    );
    const mine = JSON.parse(await succeeds("list_workflows")).workflows.at(-1);
    assert.deepEqual(mine, {
        id,
        name: "Hello",
        summary: "",
        keywords: ["hello"],
        enabled: false,
        pendingReview: true,
        createdByAgent: true,
    });

    const renamed = { ...hello, name: "Hello again" };
    assert.match(await succeeds("update_workflow", { id, workflow: renamed }), /^Updated workflow "Hello again"\./);
    assert.equal(
        await fails("update_workflow", { id: "example-uuid", workflow: renamed }),
        '"Copy a UUID" was made by the user; agents can only change workflows they created. ' +
            "Create a new one instead.",
    );

    assert.equal(
        await succeeds("test_workflow", { id, query: "there" }),
        "Steps:\n- Keyword: Started\n- Large Type: Shown in Large Type\n" +
            'Actions that would run:\n- Large Type "Hello there"',
    );
    assert.equal(
        await fails("test_workflow", { query: "x", workflow: { name: "x", nodes: [{ type: "largeType" }] } }),
        "The workflow has no input node to start from.",
    );
    const filtered = await succeeds("test_workflow", {
        query: "café",
        workflow: {
            name: "Filter",
            nodes: [
                {
                    id: "f",
                    type: "scriptFilter",
                    language: "bash",
                    script: 'printf \'{"items": [{"title": "Got %s", "arg": "%s"}]}\' "$1" "$1"',
                },
                { id: "copy", type: "copyToClipboard" },
            ],
            connections: [{ from: "f", to: "copy" }],
        },
    });
    assert.equal(
        filtered,
        "Script filter exit code 0.\nItems (1):\n- Got café |  | arg: café\n" +
            'Continuing as if the first actionable item was chosen (arg "café").\n' +
            "Steps:\n- Script Filter: Started\n- Copy to Clipboard: Copied\n" +
            'Actions that would run:\n- Copy "café"',
    );

    assert.equal(
        await fails("delete_workflow", { id: "example-uuid" }),
        '"Copy a UUID" was made by the user; agents can only delete workflows they created.',
    );
    assert.equal(await succeeds("delete_workflow", { id }), 'Deleted workflow "Hello again".');
    assert.equal(await fails("delete_workflow", { id }), `No workflow with id "${id}".`);
});

test("snippets: list, create, update, preview, delete", async () => {
    const listed = JSON.parse(await succeeds("list_snippets"));
    assert.equal(listed.collections.length, 1);
    assert.equal(listed.collections[0].snippets[0].type, ";date");

    const added = await succeeds("create_snippet", { name: "Address", keyword: "addr", content: "1 Main St" });
    const id = /\(id ([0-9A-F-]{36})\)/.exec(added)[1];
    assert.equal(
        added,
        `Added snippet "Address" (id ${id}); type ;addr to expand it once approved.\n` +
            "It is disabled until the user reviews and approves it in Zeph Launcher → Settings → Snippets.",
    );
    assert.equal(
        await fails("create_snippet", { name: "x", keyword: "two words", content: "c" }),
        "A keyword can't contain spaces.",
    );
    assert.equal(await fails("create_snippet", { name: "x", keyword: "k" }), '"content" is required.');

    assert.equal(
        await succeeds("update_snippet", { id, keyword: "home", autoExpand: false }),
        'Updated snippet "Address". It is disabled until the user approves the change.',
    );
    const own = JSON.parse(await succeeds("list_snippets")).collections[1];
    assert.equal(own.name, "From AI Agents");
    assert.deepEqual(own.snippets[0], {
        id,
        name: "Address",
        keyword: "home",
        type: ";home",
        content: "1 Main St",
        enabled: false,
        autoExpand: false,
        pendingReview: true,
        createdByAgent: true,
    });
    assert.equal(
        await fails("update_snippet", { id: "starter-date", content: "x" }),
        `"Today's date" was made by the user; agents can only change snippets they created.`,
    );

    assert.equal(
        await succeeds("preview_snippet", { content: "Dear {fill:Name},{cursor} bye", fills: { Name: "Bo" } }),
        "Dear Bo, bye\n\n(cursor ends 4 characters before the end)",
    );
    assert.equal(await fails("preview_snippet", {}), '"content" is required.');

    assert.equal(
        await fails("delete_snippet", { id: "starter-date" }),
        `"Today's date" was made by the user; agents can only delete snippets they created.`,
    );
    assert.equal(await succeeds("delete_snippet", { id }), 'Deleted snippet "Address".');
    assert.equal(await fails("delete_snippet", { id }), `No snippet with id "${id}". Use list_snippets.`);
});

test("an unknown tool is a protocol error", async () => {
    await assert.rejects(call("nope"), (error) => {
        assert.ok(error instanceof McpError);
        assert.equal(error.code, -32602);
        assert.match(error.message, /Unknown tool: nope/);
        return true;
    });
});
